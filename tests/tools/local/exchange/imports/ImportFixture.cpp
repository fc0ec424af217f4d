#include "ImportFixture.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace lithmar::local::testing {

fs::path exampleFile(const std::string& name)
{
    return fs::path(LITHMAR_EXAMPLE_DATA) / name;
}

TemporaryDirectory::TemporaryDirectory()
{
    std::string pattern = (fs::temp_directory_path() / "lithmar-import-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot create a temporary directory");
    }
    m_path = pattern;
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

fs::path TemporaryDirectory::write(const std::string& name, const std::string& text) const
{
    const fs::path file = m_path / name;
    std::ofstream(file, std::ios::binary) << text;
    return file;
}

void ImportHooks::checkIn(const std::string& streamId, fs::path file)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_files[streamId] = std::move(file);
}

std::pair<std::string, Json> ImportHooks::resultOf(const std::string& jobId)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    std::optional<std::pair<std::string, Json>> found;
    m_published.wait_for(lock, std::chrono::seconds(60), [&] {
        for (const auto& result : m_results) {
            if (result.second.value("jobId", "") == jobId) {
                found = result;
                return true;
            }
        }
        return false;
    });
    if (!found) {
        throw std::runtime_error("no result was published for the job " + jobId);
    }
    return *found;
}

std::size_t ImportHooks::publishedCount()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_results.size();
}

LocalPlatformOptions& ImportHooks::into(LocalPlatformOptions& options)
{
    options.storedFile = [this](const std::string& streamId) -> std::optional<fs::path> {
        if (onLookup) {
            onLookup(streamId);
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_files.find(streamId);
        return found == m_files.end() ? std::nullopt : std::optional<fs::path>(found->second);
    };
    return options;
}

void ImportHooks::listen(LocalPlatform& platform, const std::string& user)
{
    platform.notifications().subscribe(user, -1, [this, user](const Notification& notification) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_results.emplace_back(user, Json::parse(notification.payload));
        }
        m_published.notify_all();
    });
}

ImportTest::ImportTest(LocalPlatformOptions options) : platform(hooks.into(options))
{
    hooks.listen(platform);
    platform.start();
}

std::string createSite(LocalPlatform& platform, const std::string& name)
{
    const HttpReply reply = exchangePost(platform.port(), "/common/sites/v1", Json{{"siteName", name}}.dump());
    EXPECT_EQ(reply.status, 200) << reply.body;
    return reply.json()["id"];
}

std::string sendImport(LocalPlatform& platform, ImportHooks& hooks, const std::string& path,
                       const std::vector<fs::path>& files, const std::string& siteId, const std::string& fields,
                       bool singleStream, const std::vector<Header>& headers)
{
    const Json upload =
        exchangePost(platform.port(), "/upload/v1/start", Json{{"numberOfFiles", files.size()}}.dump()).json();
    Json command = Json::parse("{" + fields + "}");
    command["sessionId"] = upload["sessionId"];
    command["siteId"] = siteId;
    Json streams = Json::array();
    for (std::size_t i = 0; i < files.size(); ++i) {
        const std::string stream = upload["fcsFiles"][i]["fcsStreamId"];
        hooks.checkIn(stream, files[i]);
        streams.push_back(stream);
    }
    if (singleStream) {
        command["fcsStreamId"] = streams[0];
    } else {
        command["fcsStreamIds"] = streams;
    }
    const HttpReply reply = exchangePost(platform.port(), path, command.dump(), headers);
    EXPECT_EQ(reply.status, 200) << reply.body;
    return reply.json().value("jobId", reply.body);
}

Json siteTree(LocalPlatform& platform, const std::string& siteId)
{
    return exchangeGet(platform.port(), "/common/sites/v1/" + siteId).json()["tree"];
}

std::string waitForStatus(LocalPlatform& platform, const std::string& jobId, const std::string& status)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    std::string now;
    while (std::chrono::steady_clock::now() < deadline) {
        now = platform.store().jobs().job(jobId).value_or(JobRecord{}).status;
        if (now == status) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return now;
}

Json childOfKind(const Json& node, const std::string& kind)
{
    for (const Json& child : node.value("children", Json::array())) {
        if (child.value("type", "") == kind) {
            return child;
        }
    }
    return Json::object();
}

} // namespace lithmar::local::testing
