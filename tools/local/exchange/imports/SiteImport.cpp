#include <tools/local/exchange/imports/SiteImport.h>

#include <tools/local/common/JsonAnswer.h>
#include <tools/local/common/SecureRandom.h>
#include <tools/local/exchange/imports/ImportError.h>

namespace lithmar::local::imports {
namespace {

std::string optionalText(const Json& command, const char* key)
{
    const auto found = command.find(key);
    return found != command.end() && found->is_string() ? found->get<std::string>() : std::string();
}

const char* existingIdKeyOf(const std::string& kind)
{
    if (kind == "fieldObservation") {
        return "existingFieldObservationId";
    }
    if (kind == "geo") {
        return "existingGeoId";
    }
    if (kind == "terrain") {
        return "existingTerrainId";
    }
    return nullptr;
}

} // namespace

ImportCommand importCommandOf(const JobRecord& job)
{
    const Json command = Json::parse(job.command, nullptr, false);
    if (!command.is_object()) {
        throw ImportError("the job's stored command is not a JSON object; send the import again");
    }
    ImportCommand read{job.kind, job.siteId, job.name, optionalText(command, "crs"), {}, {}};
    if (const char* key = existingIdKeyOf(job.kind)) {
        read.existingId = optionalText(command, key);
    }
    if (const auto single = command.find("fcsStreamId"); single != command.end() && single->is_string()) {
        read.streamIds.push_back(single->get<std::string>());
    }
    if (const auto list = command.find("fcsStreamIds"); list != command.end() && list->is_array()) {
        for (const Json& id : *list) {
            if (id.is_string()) {
                read.streamIds.push_back(id.get<std::string>());
            }
        }
    }
    if (read.streamIds.empty()) {
        throw ImportError("the job's stored command names no stream; send the import again");
    }
    return read;
}

std::string newObjectId(const char* prefix)
{
    return prefix + secureRandomHex(10);
}

SiteObject topLevelContainer(ImportTarget& target, const char* kind, const char* idPrefix, const char* name)
{
    if (auto found = target.site.firstOfKind(kind, "")) {
        return std::move(*found);
    }
    SiteObject container{newObjectId(idPrefix), target.record.id, "", kind, name, target.now, {}};
    target.site.put(container);
    return container;
}

SiteObject existingObject(ImportTarget& target, const std::string& id, const char* kind, const char* what)
{
    auto found = target.site.object(id);
    if (!found || found->kind != kind) {
        throw ImportError(std::string("the ") + what + " " + id + " was deleted after the import was accepted; " +
                          "nothing was imported");
    }
    return std::move(*found);
}

std::string totalSize(const std::vector<SourceFile>& files)
{
    std::size_t bytes = 0;
    for (const SourceFile& file : files) {
        bytes += file.text.size();
    }
    return std::to_string(bytes);
}

} // namespace lithmar::local::imports
