// Exact wire text for the cases that callers and the service depend on,
// written out in full rather than derived from the catalogue.
#include "Samples.h"

#include <lithmar/exchange/model/BoreholeIntervalSetUploadCommand.h>
#include <lithmar/exchange/model/BoreholeUploadCommand.h>
#include <lithmar/exchange/model/GeoUploadCommand.h>
#include <lithmar/exchange/model/GetCRSResult.h>
#include <lithmar/exchange/model/GetSiteResult.h>
#include <lithmar/exchange/model/GetSitesResult.h>
#include <lithmar/exchange/model/RDFTicketedServer.h>
#include <lithmar/exchange/model/Site.h>
#include <lithmar/exchange/model/StartUploadCommand.h>
#include <lithmar/exchange/model/UploadBoreholesResult.h>

#include <gtest/gtest.h>

namespace lithmar_test {
namespace {

using namespace com::vantorel::lithmar::exploration::model;
using web::json::value;

value parse(const std::string& json)
{
    return value::parse(json);
}

BoreholeUploadCommand boreholeUpload()
{
    BoreholeUploadCommand command;
    command.setSessionId(L"s1");
    command.getFcsStreamIds() = {L"a", L"b"};
    command.setSiteId(L"x");
    return command;
}

TEST(BoreholeUploadCommandWire, WritesSetFieldsAndTheListInTableOrder)
{
    EXPECT_EQ(text(boreholeUpload().toJson()), R"({"sessionId":"s1","fcsStreamIds":["a","b"],"siteId":"x"})");
}

TEST(BoreholeUploadCommandWire, NamesPartsFromThePrefix)
{
    const auto form = writtenForm(boreholeUpload(), L"body");
    const std::vector<Part> expected = {{L"body.sessionId", "s1", L""},
                                        {L"body.fcsStreamIds", R"(["a","b"])", L"application/json"},
                                        {L"body.siteId", "x", L""}};
    EXPECT_EQ(partsOf(*form), expected);
}

TEST(BoreholeUploadCommandWire, ReadingRefillsTheListAndKeepsFieldsThatAreMissing)
{
    BoreholeUploadCommand command;
    command.setCrs(L"c");
    command.unsetImportType();
    command.getFcsStreamIds() = {L"stale"};
    value json = boreholeUpload().toJson();
    command.fromJson(json);
    EXPECT_EQ(command.getSessionId(), L"s1");
    EXPECT_EQ(command.getSiteId(), L"x");
    EXPECT_EQ(command.getFcsStreamIds(), (std::vector<std::wstring>{L"a", L"b"}));
    EXPECT_FALSE(command.fcsStreamIdsIsSet());
    EXPECT_TRUE(command.crsIsSet());
    EXPECT_EQ(command.getCrs(), L"c");
    EXPECT_FALSE(command.importTypeIsSet());
}

TEST(BoreholeUploadCommandWire, PrefixedFormReadsBackAsNothingButAnEmptiedList)
{
    const auto form = writtenForm(boreholeUpload(), L"body");
    BoreholeUploadCommand command;
    command.setSessionId(L"kept");
    command.getFcsStreamIds() = {L"stale"};
    command.fromMultiPart(form, L"body");
    EXPECT_EQ(text(command.toJson()), R"({"sessionId":"kept"})");
}

TEST(ScalarWire, ZeroAndEmptyAreWrittenWhenSet)
{
    StartUploadCommand start;
    EXPECT_EQ(text(start.toJson()), "{}");
    start.setNumberOfFiles(0);
    EXPECT_EQ(text(start.toJson()), R"({"numberOfFiles":0})");

    Site site;
    site.setName(L"");
    EXPECT_EQ(text(site.toJson()), R"({"name":""})");
    site.setName(L"old");
    site.unsetName();
    EXPECT_EQ(text(site.toJson()), "{}");
    EXPECT_EQ(site.getName(), L"old");
}

TEST(ScalarWire, NonAsciiTextTravelsAsUtf8)
{
    Site site;
    site.setName(L"Z\u00fcrich \u20ac\U0001D11E");
    const std::string utf8 = "Z\xC3\xBCrich \xE2\x82\xAC\xF0\x9D\x84\x9E";
    EXPECT_EQ(site.toJson().at("name").as_string(), utf8);
    const auto form = writtenForm(site, L"");
    EXPECT_EQ(partsOf(*form), (std::vector<Part>{{L"name", utf8, L""}}));
    Site read;
    read.fromMultiPart(form, L"");
    EXPECT_EQ(read.getName(), site.getName());
}

TEST(ListWire, EmptyListIsNotWritten)
{
    GeoUploadCommand command;
    command.setSessionId(L"s");
    EXPECT_EQ(text(command.toJson()), R"({"sessionId":"s"})");
}

TEST(ListWire, NullModelsStayInTheListAndAreWrittenBack)
{
    value json = parse(R"({"sites":[null,{"id":"s"}]})");
    const auto result = GetSitesResult::createGetSitesResult(json);
    ASSERT_EQ(result->getSites().size(), 2u);
    EXPECT_EQ(result->getSites()[0], nullptr);
    EXPECT_EQ(result->getSites()[1]->getId(), L"s");
    EXPECT_EQ(text(result->toJson()), R"({"sites":[null,{"id":"s"}]})");
}

TEST(ListWire, ElementThatIsNotAnObjectReadsAsAnEmptyModel)
{
    // Like any value without keys: nothing to read, and no error.
    value json = parse(R"({"sites":["x",7]})");
    EXPECT_EQ(text(GetSitesResult::createGetSitesResult(json)->toJson()), R"({"sites":[{},{}]})");
}

TEST(ListWire, EmptyArrayReadsAsAnEmptyList)
{
    value json = parse(R"({"result":"r","crs":[]})");
    const auto result = GetCRSResult::createGetCRSResult(json);
    EXPECT_TRUE(result->resultIsSet());
    EXPECT_FALSE(result->trackingNumberIsSet());
    EXPECT_TRUE(result->getCrs().empty());
    EXPECT_EQ(text(result->toJson()), R"({"result":"r"})");
}

TEST(ResultWire, ReadsOnlyTheKeysItHas)
{
    value json = parse(R"({"jobId":"j","unknown":{"a":1},"result":"x"})");
    const auto result = UploadBoreholesResult::createUploadBoreholesResult(json);
    EXPECT_TRUE(result->jobIdIsSet());
    EXPECT_FALSE(result->countIsSet());
    EXPECT_FALSE(result->timingIsSet());
    EXPECT_EQ(text(result->toJson()), R"({"result":"x","jobId":"j"})");
}

TEST(ResultWire, FirstOfTwoEqualKeysCounts)
{
    value json = parse(R"({"result":"first","result":"second"})");
    EXPECT_EQ(UploadBoreholesResult::createUploadBoreholesResult(json)->getResult(), L"first");
}

TEST(ResultWire, WrongTypeStopsReadingAndKeepsEarlierFields)
{
    BoreholeIntervalSetUploadCommand command;
    command.setName(L"before");
    value json = parse(R"({"sessionId":"s","fcsStreamId":["a"],"name":"n"})");
    EXPECT_THROW(command.fromJson(json), web::json::json_exception);
    EXPECT_EQ(command.getSessionId(), L"s");
    EXPECT_FALSE(command.fcsStreamIdIsSet());
    EXPECT_EQ(command.getName(), L"before");
}

TEST(NestedWire, NullOrMissingTreeLeavesTheFieldAlone)
{
    value json = parse(R"({"tree":null})");
    EXPECT_FALSE(GetSiteResult::createGetSiteResult(json)->treeIsSet());
    EXPECT_EQ(GetSiteResult::createGetSiteResult(json)->getTree(), nullptr);

    RDFTicketedServer server;
    const auto factory = std::make_shared<SupplierHttpRequestClient>();
    server.setHttpRequestClientFactory(factory);
    for (value kept : {value::object(), parse(R"({"httpRequestClientFactory":null})")}) {
        server.fromJson(kept);
        EXPECT_EQ(server.getHttpRequestClientFactory(), factory);
        EXPECT_TRUE(server.httpRequestClientFactoryIsSet());
    }
}

TEST(NestedWire, ModelWithoutFieldsWritesAnEmptyObjectAndReadsAnything)
{
    SupplierHttpRequestClient client;
    value json = parse(R"({"anything":[1,2]})");
    client.fromJson(json);
    EXPECT_EQ(text(client.toJson()), "{}");
    RDFTicketedServer server;
    server.setHttpRequestClientFactory(std::make_shared<SupplierHttpRequestClient>());
    EXPECT_EQ(text(server.toJson()), R"({"httpRequestClientFactory":{}})");
}

GetSiteResult siteWithTree()
{
    auto tree = std::make_shared<SiteDetails>();
    tree->setType(L"Site");
    tree->setId(L"t1");
    tree->getChildren() = {nullptr};
    GetSiteResult site;
    site.setResult(L"ok");
    site.setTree(tree);
    return site;
}

TEST(NestedWire, TreePartsAreNamedFromTheTreeKeyAlone)
{
    for (const std::wstring prefix : {L"", L"outer", L"outer."}) {
        const auto form = writtenForm(siteWithTree(), prefix);
        const std::wstring outer = prefix.empty() ? L"" : L"outer.";
        const std::vector<Part> expected = {{outer + L"result", "ok", L""},
                                            {L"tree.type", "Site", L""},
                                            {L"tree.id", "t1", L""},
                                            {L"tree.children", "[null]", L"application/json"}};
        EXPECT_EQ(partsOf(*form), expected);
    }
}

TEST(NestedWire, TreeIsReadFromBareNamesOnlyWhenAPartNamesIt)
{
    const auto written = writtenForm(siteWithTree(), L"");
    GetSiteResult site;
    site.fromMultiPart(written, L"");
    EXPECT_FALSE(site.treeIsSet());

    site.fromMultiPart(formOf({{L"tree", ""}, {L"type", "T"}, {L"tree.id", "ignored"}, {L"children", "[null]"}}), L"");
    ASSERT_TRUE(site.treeIsSet());
    EXPECT_EQ(text(site.getTree()->toJson()), R"({"type":"T","children":[null]})");
}

TEST(MultipartWire, ReadingLooksForBareNamesWhateverThePrefix)
{
    Site site;
    site.fromMultiPart(formOf({{L"p.id", "prefixed"}, {L"name", "bare"}}), L"p");
    EXPECT_FALSE(site.idIsSet());
    EXPECT_EQ(site.getName(), L"bare");
}

} // namespace
} // namespace lithmar_test
