#include "TemporaryDirectory.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace lithmar::test {

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory()
{
    std::string pattern = (fs::temp_directory_path() / "lithmar-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot create a temporary directory in " + fs::temp_directory_path().string());
    }
    m_path = pattern;
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

fs::path TemporaryDirectory::write(const std::string& name, const std::string& bytes) const
{
    const fs::path file = m_path / name;
    std::ofstream(file, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return file;
}

fs::path exampleFile(const std::string& name)
{
    return fs::path(LITHMAR_EXAMPLE_DATA) / name;
}

} // namespace lithmar::test
