// The factory that models.json leaves to hand-written code: a site tree's
// entries come as one list, and each entry's "type" says which class reads it.
#include <lithmar/exchange/model/BoreholeCollection.h>
#include <lithmar/exchange/model/GeologicModel.h>
#include <lithmar/exchange/model/PointSampleCollection.h>
#include <lithmar/exchange/model/StaticStructureCollection.h>
#include <lithmar/exchange/model/TerrainCollection.h>
#include <lithmar/exchange/model/TopLevelChild.h>

#include <string_view>

namespace com::vantorel::lithmar::exploration::model {
namespace {

template <typename Child>
std::shared_ptr<TopLevelChild> makeChild()
{
    return std::make_shared<Child>();
}

struct ChildClass {
    std::wstring_view type;
    std::shared_ptr<TopLevelChild> (*make)();
};

// Compared exactly, in this order. Any other type, an empty one or none at
// all reads as a plain TopLevelChild: new kinds of entry still list.
constexpr ChildClass childClasses[] = {
    {L"BoreholeCollection", &makeChild<BoreholeCollection>},
    {L"GeologicModel", &makeChild<GeologicModel>},
    {L"PointSampleCollection", &makeChild<PointSampleCollection>},
    {L"StaticStructureCollection", &makeChild<StaticStructureCollection>},
    {L"TerrainCollection", &makeChild<TerrainCollection>},
};

} // namespace

std::shared_ptr<TopLevelChild> TopLevelChild::createTopLevelChild(web::json::value& json)
{
    // A first reading as a plain entry learns the type; the object that
    // comes out then reads the whole entry, its own keys included.
    auto child = std::make_shared<TopLevelChild>();
    child->fromJson(json);
    const std::wstring type = child->getType();
    for (const ChildClass& childClass : childClasses) {
        if (type == childClass.type) {
            child = childClass.make();
            break;
        }
    }
    child->fromJson(json);
    return child;
}

} // namespace com::vantorel::lithmar::exploration::model
