#pragma once

#include "../HttpCall.h"

#include <tools/local/exchange/LocalPlatform.h>

#include <gtest/gtest.h>

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lithmar::local::testing {

namespace fs = std::filesystem;

// The sample file `name` of examples/data.
fs::path exampleFile(const std::string& name);

// A fresh directory under the system's temporary one, removed afterwards.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    const fs::path& path() const { return m_path; }
    // Writes `text` to a file of that name in the directory.
    fs::path write(const std::string& name, const std::string& text) const;

private:
    fs::path m_path;
};

// The files that jobs find checked in per stream, and the results that
// the platform's notification service received for its users.
class ImportHooks {
public:
    void checkIn(const std::string& streamId, fs::path file);
    // Called when a job looks a stream's file up, before the answer.
    std::function<void(const std::string& streamId)> onLookup;

    // The result published for `jobId` (with its user); throws after 60 s
    // without.
    std::pair<std::string, Json> resultOf(const std::string& jobId);
    std::size_t publishedCount();

    // Lets the platform made with `options` find the checked-in files; the
    // hooks must outlive it.
    LocalPlatformOptions& into(LocalPlatformOptions& options);
    // Collects what `platform` publishes to `user`.
    void listen(LocalPlatform& platform, const std::string& user = "LOCAL_USER");

private:
    std::mutex m_mutex;
    std::condition_variable m_published;
    std::map<std::string, fs::path> m_files;
    std::vector<std::pair<std::string, Json>> m_results; // user, payload
};

// A new site; its id.
std::string createSite(LocalPlatform& platform, const std::string& name);
// Starts an upload session, checks `files` in (one stream each) and sends
// the import to `path` with `fields` added to the command; the job id (or
// what the service answered instead).
std::string sendImport(LocalPlatform& platform, ImportHooks& hooks, const std::string& path,
                       const std::vector<fs::path>& files, const std::string& siteId, const std::string& fields = "",
                       bool singleStream = false, const std::vector<Header>& headers = {});
Json siteTree(LocalPlatform& platform, const std::string& siteId);
// The job's status once it is `status`, or its status after 30 s.
std::string waitForStatus(LocalPlatform& platform, const std::string& jobId, const std::string& status);

// A platform whose imports read files of the tests' choosing.
class ImportTest : public ::testing::Test {
protected:
    explicit ImportTest(LocalPlatformOptions options = {});

    std::string createSite(const std::string& name) { return testing::createSite(platform, name); }
    std::string import(const std::string& path, const std::vector<fs::path>& files, const std::string& siteId,
                       const std::string& fields = "", bool singleStream = false)
    {
        return sendImport(platform, hooks, path, files, siteId, fields, singleStream);
    }
    Json siteTree(const std::string& siteId) { return testing::siteTree(platform, siteId); }

    ImportHooks hooks;
    LocalPlatform platform;
};

// The object of `kind` among the children of `node`; an empty object
// when there is none.
Json childOfKind(const Json& node, const std::string& kind);

} // namespace lithmar::local::testing
