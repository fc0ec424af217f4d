#pragma once

#include <tools/local/exchange/CrsCatalog.h>
#include <tools/local/exchange/SiteStore.h>

#include <string>
#include <vector>

namespace lithmar::local {

struct DownloadedFile {
    std::string name;
    std::string data; // the file's text
};

// What a download asks for, from its query.
struct DownloadRequest {
    std::string format;      // "" for kDefaultDownloadFormat
    std::string detailLevel; // passed through into the files that carry it
    const Crs* crs = nullptr;
};

// "csv": one line per feature (collection, parameters, feature, attribute
// test, crs); "json": the object's tree with the crs and the detail level.
inline constexpr const char* kDefaultDownloadFormat = "csv";
const std::vector<std::string>& downloadFormats();

// The files of `root` (a geologic model or a feature) among its site's
// `objects`. Throws RequestError (400) on an unknown format.
std::vector<DownloadedFile> geologicFiles(const SiteObject& root, const std::vector<SiteObject>& objects,
                                          const DownloadRequest& request);

} // namespace lithmar::local
