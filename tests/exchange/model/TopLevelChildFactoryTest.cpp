// TopLevelChild::createTopLevelChild picks the class of a site tree entry
// from its "type", and SiteDetails reads its children through it.
#include "Samples.h"

#include <lithmar/exchange/model/BoreholeCollection.h>
#include <lithmar/exchange/model/GeologicModel.h>
#include <lithmar/exchange/model/PointSampleCollection.h>
#include <lithmar/exchange/model/SiteDetails.h>
#include <lithmar/exchange/model/StaticStructureCollection.h>
#include <lithmar/exchange/model/TerrainCollection.h>
#include <lithmar/exchange/model/TopLevelChild.h>

#include <gtest/gtest.h>

#include <typeindex>

namespace lithmar_test {
namespace {

using namespace com::vantorel::lithmar::exploration::model;
using web::json::value;

struct TypeCase {
    const char* typeMember; // the JSON text of the "type" member, or "" for none
    std::type_index expected;
};

class ChildType : public testing::TestWithParam<TypeCase> {};

TEST_P(ChildType, SelectsTheClassByExactTypeName)
{
    std::string members = R"("id":"c1","name":"n","totalItems":"7","modificationDate":"d","children":[])";
    if (*GetParam().typeMember) {
        members = std::string(GetParam().typeMember) + "," + members;
    }
    value json = value::parse("{" + members + "}");
    const auto child = TopLevelChild::createTopLevelChild(json);
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(std::type_index(typeid(*child)), GetParam().expected);
    EXPECT_EQ(child->getId(), L"c1");
    if (GetParam().expected == typeid(TopLevelChild)) {
        // A plain entry keeps only what every entry has.
        const value written = child->toJson();
        EXPECT_EQ(written.size(), written.has_field("type") ? 3u : 2u);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Types, ChildType,
    testing::Values(TypeCase{R"("type":"BoreholeCollection")", typeid(BoreholeCollection)},
                    TypeCase{R"("type":"GeologicModel")", typeid(GeologicModel)},
                    TypeCase{R"("type":"PointSampleCollection")", typeid(PointSampleCollection)},
                    TypeCase{R"("type":"StaticStructureCollection")", typeid(StaticStructureCollection)},
                    TypeCase{R"("type":"TerrainCollection")", typeid(TerrainCollection)},
                    TypeCase{R"("type":"geologicmodel")", typeid(TopLevelChild)},
                    TypeCase{R"("type":"GeologicModel ")", typeid(TopLevelChild)},
                    TypeCase{R"("type":"Geologic")", typeid(TopLevelChild)},
                    TypeCase{R"("type":"")", typeid(TopLevelChild)},
                    TypeCase{R"("type":null)", typeid(TopLevelChild)},
                    TypeCase{"", typeid(TopLevelChild)}));

TEST(TopLevelChildFactory, GeologicModelReadsItsFeatureCollections)
{
    const std::string written = R"({"type":"GeologicModel","id":"g",)"
                                R"("children":[{"type":"FeatureCollection","id":"f"}],"modificationDate":"d"})";
    value json = value::parse(written);
    const auto model = std::dynamic_pointer_cast<GeologicModel>(TopLevelChild::createTopLevelChild(json));
    ASSERT_NE(model, nullptr);
    EXPECT_EQ(model->getId(), L"g");
    ASSERT_EQ(model->getChildren().size(), 1u);
    EXPECT_EQ(model->getChildren()[0]->getId(), L"f");
    EXPECT_EQ(text(model->toJson()), written);
}

TEST(TopLevelChildFactory, PassesCountsThroughAsText)
{
    value json = value::parse(R"({"type":"BoreholeCollection","totalItems":"0042"})");
    const auto boreholes = std::dynamic_pointer_cast<BoreholeCollection>(TopLevelChild::createTopLevelChild(json));
    ASSERT_NE(boreholes, nullptr);
    EXPECT_EQ(boreholes->getTotalItems(), L"0042");
}

TEST(TopLevelChildFactory, CollectionWithoutChildrenWritesNoChildrenKey)
{
    value json = value::parse(R"({"type":"TerrainCollection","id":"t"})");
    EXPECT_EQ(text(TopLevelChild::createTopLevelChild(json)->toJson()), R"({"type":"TerrainCollection","id":"t"})");
}

TEST(TopLevelChildFactory, NonObjectGivesAnEmptyPlainEntry)
{
    value json = value::string("GeologicModel");
    const auto child = TopLevelChild::createTopLevelChild(json);
    EXPECT_EQ(std::type_index(typeid(*child)), std::type_index(typeid(TopLevelChild)));
    EXPECT_EQ(text(child->toJson()), "{}");
}

TEST(TopLevelChildFactory, ConversionErrorsPropagate)
{
    for (const char* bad : {R"({"type":5})", R"({"type":"GeologicModel","children":{}})",
                            R"({"type":"GeologicModel","children":[{"type":5}]})",
                            R"({"type":"TerrainCollection","children":[{"id":5}]})"}) {
        SCOPED_TRACE(bad);
        value json = value::parse(bad);
        EXPECT_THROW(TopLevelChild::createTopLevelChild(json), web::json::json_exception);
    }
}

const char* const mixedChildren =
    R"([{"type":"TerrainCollection","id":"t","children":[{"id":"t1"}]},null,{"type":"Unknown","id":"u"}])";

void expectMixedChildren(SiteDetails& site)
{
    const auto& children = site.getChildren();
    ASSERT_EQ(children.size(), 3u);
    const auto terrains = std::dynamic_pointer_cast<TerrainCollection>(children[0]);
    ASSERT_NE(terrains, nullptr);
    ASSERT_EQ(terrains->getChildren().size(), 1u);
    EXPECT_EQ(terrains->getChildren()[0]->getId(), L"t1");
    EXPECT_EQ(children[1], nullptr);
    EXPECT_EQ(std::type_index(typeid(*children[2])), std::type_index(typeid(TopLevelChild)));
    EXPECT_EQ(text(site.toJson().at("children")), mixedChildren);
}

TEST(SiteDetailsChildren, JsonEntriesAreReadAsTheirTypeSays)
{
    value json = value::parse(std::string(R"({"children":)") + mixedChildren + "}");
    const auto site = SiteDetails::createSiteDetails(json);
    expectMixedChildren(*site);
}

TEST(SiteDetailsChildren, FormEntriesAreReadAsTheirTypeSays)
{
    SiteDetails site;
    site.fromMultiPart(formOf({{L"children", mixedChildren}}), L"");
    expectMixedChildren(site);
}

} // namespace
} // namespace lithmar_test
