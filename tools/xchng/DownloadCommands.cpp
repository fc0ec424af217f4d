#include "DownloadCommands.h"

#include "Table.h"

#include <lithmar/runtime/Utf8.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace lithmar::xchng {
namespace {

namespace lithmar = com::vantorel::lithmar;
using lithmar::fromUtf8;
using lithmar::toUtf8;
using lithmar::exploration::api::DataExchangeApi;

std::filesystem::path safeFileName(const std::wstring& name)
{
    // The name comes from the server: keep only its last component so that a
    // name like "../x" cannot write outside the chosen directory.
    const std::filesystem::path fileName = std::filesystem::path(toUtf8(name)).filename();
    if (fileName.empty() || fileName == "." || fileName == "..") {
        throw std::runtime_error("the service sent a file without a usable name: \"" + toUtf8(name) + "\"");
    }
    return fileName;
}

template <typename Result> void printFiles(Result& result, const DownloadRequest& request, Output output)
{
    if (output.json) {
        output.out << result.toJson().serialize() << '\n';
    }
    Table files(request.outputDirectory.empty() ? std::vector<std::string>{"FILE", "BYTES"}
                                                : std::vector<std::string>{"FILE", "BYTES", "SAVED AS"});
    for (const auto& file : result.getFiles()) {
        if (!file) {
            continue;
        }
        const std::string data = toUtf8(file->getData());
        std::string savedAs;
        if (!request.outputDirectory.empty()) {
            const auto path = std::filesystem::path(request.outputDirectory) / safeFileName(file->getName());
            std::filesystem::create_directories(path.parent_path());
            std::ofstream stream(path, std::ios::binary);
            stream.write(data.data(), static_cast<std::streamsize>(data.size()));
            if (!stream) {
                throw std::filesystem::filesystem_error("cannot write the downloaded file", path,
                                                        std::make_error_code(std::errc::io_error));
            }
            savedAs = path.string();
        }
        files.add({toUtf8(file->getName()), std::to_string(data.size()), savedAs});
    }
    if (!output.json) {
        files.print(output.out);
    }
}

} // namespace

void download(DataExchangeApi& api, const DownloadRequest& request, Output output)
{
    const auto id = fromUtf8(request.id);
    const auto format = fromUtf8(request.format);
    const auto detailLevel = fromUtf8(request.detailLevel);
    const auto crs = fromUtf8(request.crs);
    if (request.feature) {
        printFiles(*api.downloadGeologicFeature(id, format, detailLevel, crs).get(), request, output);
    } else {
        printFiles(*api.downloadGeologicModel(id, format, detailLevel, crs).get(), request, output);
    }
}

} // namespace lithmar::xchng
