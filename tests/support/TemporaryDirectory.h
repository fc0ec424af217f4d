#pragma once

#include <filesystem>
#include <string>

namespace lithmar::test {

// A fresh directory under the system's temporary one, removed with all it
// holds when the object goes.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();

    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    // Writes `bytes` to a file of that name in the directory; its path.
    std::filesystem::path write(const std::string& name, const std::string& bytes) const;

private:
    std::filesystem::path m_path;
};

// The sample file `name` of examples/data.
std::filesystem::path exampleFile(const std::string& name);

} // namespace lithmar::test
