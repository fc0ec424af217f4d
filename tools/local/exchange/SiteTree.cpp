#include <tools/local/exchange/SiteTree.h>

#include <map>

namespace lithmar::local {
namespace {

// The keys of each kind, in the order the platform writes them. "type",
// "id", "name" and "modificationDate" come from the object; the others from
// its details.
struct Shape {
    std::vector<const char*> keys;
    bool hasChildren;
};

const Shape& shapeOf(const std::string& kind)
{
    static const std::map<std::string, Shape> shapes{
        {"BoreholeCollection", {{"type", "id", "name", "totalItems"}, false}},
        {"BoreholeIntervalSet", {{"type", "id", "name", "modificationDate", "totalItems"}, false}},
        {"GeologicModel", {{"type", "id", "name", "modificationDate"}, true}},
        {"FeatureCollection", {{"type", "id", "name"}, true}},
        {"Parameters", {{"type", "id", "name", "parameters"}, true}},
        {"Feature", {{"type", "isDirty", "id", "name", "attributeName", "attributeValue", "attributeOperator"}, false}},
        {"PointSampleCollection", {{"type", "id", "name"}, true}},
        {"PointSampleSet", {{"type", "id", "name", "totalItems"}, false}},
        {"StaticStructureCollection", {{"type", "id", "name"}, true}},
        {"StaticStructure", {{"type", "id", "name", "modificationDate"}, false}},
        {"TerrainCollection", {{"type", "id", "name"}, true}},
        {"Terrain", {{"type", "id", "name", "modificationDate"}, false}},
    };
    static const Shape unknown{{"type", "id", "name"}, false};
    const auto found = shapes.find(kind);
    return found == shapes.end() ? unknown : found->second;
}

using ChildIndex = std::multimap<std::string, const SiteObject*>;

ChildIndex indexByParent(const std::vector<SiteObject>& objects)
{
    // A multimap keeps equal keys in insertion order: siblings stay in
    // creation order.
    ChildIndex children;
    for (const SiteObject& object : objects) {
        children.emplace(object.parentId, &object);
    }
    return children;
}

std::string valueOf(const SiteObject& object, const std::string& key)
{
    if (key == "type") {
        return object.kind;
    }
    if (key == "id") {
        return object.id;
    }
    if (key == "name") {
        return object.name;
    }
    if (key == "modificationDate") {
        return object.modificationDate;
    }
    const auto found = object.details.find(key);
    return found == object.details.end() ? std::string() : found->second;
}

Json childrenOf(const std::string& parentId, const ChildIndex& index);

Json nodeOf(const SiteObject& object, const ChildIndex& index)
{
    const Shape& shape = shapeOf(object.kind);
    Json node = Json::object();
    for (const char* key : shape.keys) {
        node[key] = valueOf(object, key);
    }
    if (shape.hasChildren) {
        node["children"] = childrenOf(object.id, index);
    }
    return node;
}

Json childrenOf(const std::string& parentId, const ChildIndex& index)
{
    Json children = Json::array();
    const auto [first, last] = index.equal_range(parentId);
    for (auto it = first; it != last; ++it) {
        children.push_back(nodeOf(*it->second, index));
    }
    return children;
}

} // namespace

Json siteTree(const SiteRecord& site, const std::vector<SiteObject>& objects)
{
    return Json{{"type", "Site"},
                {"id", site.id},
                {"name", site.name},
                {"modificationDate", site.modificationDate},
                {"children", childrenOf("", indexByParent(objects))}};
}

Json objectTree(const SiteObject& root, const std::vector<SiteObject>& objects)
{
    return nodeOf(root, indexByParent(objects));
}

} // namespace lithmar::local
