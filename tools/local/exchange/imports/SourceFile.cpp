#include <tools/local/exchange/imports/SourceFile.h>

#include <tools/local/common/Utf8.h>
#include <tools/local/exchange/imports/ImportError.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

namespace lithmar::local::imports {
namespace {

namespace fs = std::filesystem;

std::string readWhole(const fs::path& path, const std::string& label)
{
    std::error_code error;
    const auto size = fs::file_size(path, error);
    if (error) {
        throw ImportError("cannot read the file of " + label + ": " + error.message() +
                          "; check the file in again, then import it");
    }
    if (size > kMaxSourceFileBytes) {
        throw ImportError("the file of " + label + " has " + std::to_string(size) + " bytes, more than the " +
                          std::to_string(kMaxSourceFileBytes >> 20) + " MiB an import reads; split it");
    }
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    if (!in || !(text << in.rdbuf())) {
        // An empty file makes operator<< fail without an error of its own.
        if (in && size == 0) {
            return {};
        }
        throw ImportError("cannot read the file of " + label + ": " + std::strerror(errno) +
                          "; check the file in again, then import it");
    }
    return text.str();
}

} // namespace

std::string SourceFile::label() const
{
    // The file server may keep a file under its stream's id.
    if (fileName.empty() || fileName == streamId) {
        return "stream " + streamId;
    }
    return fileName + " (stream " + streamId + ")";
}

std::vector<SourceFile> readSourceFiles(const std::vector<std::string>& streamIds, const StoredFileLookup& lookup)
{
    std::vector<SourceFile> files;
    for (const std::string& streamId : streamIds) {
        const auto path = lookup ? lookup(streamId) : std::nullopt;
        if (!path) {
            throw ImportError("no file was checked in for the stream " + streamId +
                              "; check the file in to its slot before the import");
        }
        SourceFile file{streamId, path->filename().string(), {}};
        file.text = readWhole(*path, file.label());
        if (file.text.rfind("\xEF\xBB\xBF", 0) == 0) {
            file.text.erase(0, 3);
        }
        if (!isValidUtf8(file.text)) {
            throw ImportError("the file " + file.label() + " is not UTF-8 text; save it as UTF-8 and import it again");
        }
        files.push_back(std::move(file));
    }
    return files;
}

} // namespace lithmar::local::imports
