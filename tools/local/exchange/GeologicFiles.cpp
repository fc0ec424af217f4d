#include <tools/local/exchange/GeologicFiles.h>

#include <tools/local/common/JsonAnswer.h>
#include <tools/local/common/RequestError.h>
#include <tools/local/exchange/SiteTree.h>

#include <algorithm>
#include <map>

namespace lithmar::local {
namespace {

using ObjectsById = std::map<std::string, const SiteObject*>;

// A name that every file system takes: letters, digits, '.', '-', '_'.
std::string fileStem(const SiteObject& root)
{
    std::string stem = root.name.empty() ? root.id : root.name;
    for (char& c : stem) {
        const bool safe = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
                          c == '-' || c == '_';
        if (!safe) {
            c = '_';
        }
    }
    return stem;
}

std::string csvField(const std::string& text)
{
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char c : text) {
        quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    }
    return quoted + "\"";
}

// The object, its parent, and so on up to the top of the site. Bounded by
// the number of objects, so that a damaged database cannot loop.
std::vector<const SiteObject*> lineage(const SiteObject& object, const ObjectsById& byId)
{
    std::vector<const SiteObject*> line{&object};
    while (line.size() <= byId.size()) {
        const auto parent = byId.find(line.back()->parentId);
        if (parent == byId.end()) {
            break;
        }
        line.push_back(parent->second);
    }
    return line;
}

std::string nameOfAncestor(const std::vector<const SiteObject*>& line, const std::string& kind)
{
    const auto found =
        std::find_if(line.begin(), line.end(), [&](const SiteObject* object) { return object->kind == kind; });
    return found == line.end() ? std::string() : (*found)->name;
}

std::string featureTable(const SiteObject& root, const std::vector<SiteObject>& objects, const Crs& crs)
{
    ObjectsById byId;
    for (const SiteObject& object : objects) {
        byId.emplace(object.id, &object);
    }
    std::string table =
        "featureCollection,parameters,featureId,feature,attributeName,attributeOperator,attributeValue,crs\n";
    for (const SiteObject& object : objects) {
        const auto line = lineage(object, byId);
        const bool belowRoot =
            std::any_of(line.begin(), line.end(), [&](const SiteObject* step) { return step->id == root.id; });
        if (object.kind != "Feature" || !belowRoot) {
            continue;
        }
        const auto detail = [&](const char* key) {
            const auto found = object.details.find(key);
            return found == object.details.end() ? std::string() : found->second;
        };
        table += csvField(nameOfAncestor(line, "FeatureCollection")) + "," +
                 csvField(nameOfAncestor(line, "Parameters")) + "," + csvField(object.id) + "," +
                 csvField(object.name) + "," + csvField(detail("attributeName")) + "," +
                 csvField(detail("attributeOperator")) + "," + csvField(detail("attributeValue")) + "," +
                 csvField(crs.id) + "\n";
    }
    return table;
}

std::string describedTree(const SiteObject& root, const std::vector<SiteObject>& objects,
                          const DownloadRequest& request)
{
    const Json document{{"crs", request.crs->id},
                        {"unitofmeasure", request.crs->unitOfMeasure},
                        {"detailLevel", request.detailLevel},
                        {"content", objectTree(root, objects)}};
    return document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace

const std::vector<std::string>& downloadFormats()
{
    static const std::vector<std::string> formats{"csv", "json"};
    return formats;
}

std::vector<DownloadedFile> geologicFiles(const SiteObject& root, const std::vector<SiteObject>& objects,
                                          const DownloadRequest& request)
{
    const std::string format = request.format.empty() ? kDefaultDownloadFormat : request.format;
    if (format == "csv") {
        return {{fileStem(root) + ".csv", featureTable(root, objects, *request.crs)}};
    }
    if (format == "json") {
        return {{fileStem(root) + ".json", describedTree(root, objects, request)}};
    }
    std::string known;
    for (const std::string& name : downloadFormats()) {
        known += (known.empty() ? "" : ", ") + name;
    }
    throw RequestError(400, "unknown format \"" + format + "\"; the known formats are " + known + " (or empty for " +
                                kDefaultDownloadFormat + ")");
}

} // namespace lithmar::local
