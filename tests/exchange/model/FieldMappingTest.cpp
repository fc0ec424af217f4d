// Every model is generated from one template onto one mapping per kind of field, so each rule is checked once,
// on a real model class that holds that kind of field: text, 32-bit integer, list of text, list of models, nested
// model, and the fields a model inherits.
#include <lithmar/exchange/model/BoreholeUploadCommand.h>
#include <lithmar/exchange/model/GeologicModel.h>
#include <lithmar/exchange/model/GetSiteResult.h>
#include <lithmar/exchange/model/GetSitesResult.h>
#include <lithmar/exchange/model/RDFTicketedServer.h>
#include <lithmar/exchange/model/Site.h>
#include <lithmar/exchange/model/StartUploadCommand.h>
#include <lithmar/runtime/Utf8.h>

#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace com::vantorel::lithmar;
using namespace com::vantorel::lithmar::exploration::model;
using web::json::value;
using Form = std::shared_ptr<MultipartFormData>;

std::string written(const ModelBase& model)
{
    return model.toJson().serialize();
}

value parse(const std::string& text)
{
    return value::parse(text);
}

// A form of parts holding exactly these bytes, UTF-8 or not.
Form formOf(const std::vector<std::pair<std::wstring, std::string>>& parts)
{
    auto form = std::make_shared<MultipartFormData>();
    for (const auto& [name, bytes] : parts) {
        auto part = std::make_shared<HttpContent>();
        part->setName(name);
        part->setData(std::make_shared<std::istringstream>(bytes));
        form->add(part);
    }
    return form;
}

Form formOf(const ModelBase& model, const std::wstring& prefix)
{
    auto form = std::make_shared<MultipartFormData>();
    model.toMultipart(form, prefix);
    return form;
}

// "name[content type]=data " for each part the model writes.
std::string partsOf(const ModelBase& model, const std::wstring& prefix)
{
    std::string parts;
    const Form form = formOf(model, prefix);
    for (const auto& part : form->parts()) {
        parts += toUtf8(part->getName() + L"[" + part->getContentType() + L"]=" +
                        ModelBase::stringFromHttpContent(part) + L" ");
    }
    return parts;
}

// What reading JSON or a form (under a prefix, which reading ignores) leaves in a copy of `model`, after the kind
// of error that stopped the reading.
template <typename Model, typename Input> std::string afterReading(Model model, Input input)
{
    std::string error;
    try {
        if constexpr (std::is_same_v<Input, value>) {
            model.fromJson(input);
        } else {
            model.fromMultiPart(input, L"p");
        }
    } catch (const EncodingError&) {
        error = "not UTF-8: ";
    } catch (const web::json::json_exception&) {
        error = "bad JSON: ";
    } catch (const std::invalid_argument&) {
        error = "not an integer: ";
    }
    return error + written(model);
}

TEST(TextField, IsWrittenWhenSetEscapedOnlyWhereJsonNeedsItAndReadsNullAsEmpty)
{
    Site site;
    site.setUnitofmeasure(L"m");
    site.setName(L"a\"b\\c\n\u0001\u00e9\U0001D11E");
    site.setId(L"");
    const std::string name = R"("a\"b\\c\n\u0001)"
                             "\xc3\xa9\xf0\x9d\x84\x9e\"";
    EXPECT_EQ(written(site), R"({"id":"","name":)" + name + R"(,"unitofmeasure":"m"})");
    EXPECT_EQ(partsOf(site, L""), "id[]= name[]=a\"b\\c\n\x01\xc3\xa9\xf0\x9d\x84\x9e unitofmeasure[]=m ");
    EXPECT_EQ(afterReading(Site(), formOf(site, L"")), written(site));
    site.unsetName();
    EXPECT_EQ(site.getName(), L"a\"b\\c\n\u0001\u00e9\U0001D11E") << "unsetting keeps the value";
    EXPECT_EQ(written(site), R"({"id":"","unitofmeasure":"m"})");
    EXPECT_EQ(partsOf(site, L""), "id[]= unitofmeasure[]=m ");
    // Unknown keys are ignored, of two equal keys the first counts, and a key that is missing keeps its field.
    EXPECT_EQ(afterReading(site, parse(R"({"zz":[1],"name":"n","crs":null,"name":"second"})")),
              R"({"id":"","name":"n","crs":"","unitofmeasure":"m"})");
    EXPECT_EQ(afterReading(site, parse(R"({"id":5})")), "bad JSON: " + written(site));
    EXPECT_EQ(afterReading(site, value::object({{"id", value::string("\xC3\x28")}})), "not UTF-8: " + written(site));
    EXPECT_EQ(afterReading(site, formOf({{L"id", "\xC3\x28"}})), "not UTF-8: " + written(site));
    EXPECT_EQ(afterReading(site, formOf({{L"p.id", "prefixed"}, {L"name", "bare"}})),
              R"({"id":"","name":"bare","unitofmeasure":"m"})");
}

TEST(Int32Field, IsWrittenWhenSetEvenAsZeroAndReadsOnlyIntegersWithinItsRange)
{
    StartUploadCommand start;
    EXPECT_EQ(start.getNumberOfFiles(), 0);
    EXPECT_EQ(written(start), "{}");
    start.setNumberOfFiles(0);
    EXPECT_EQ(written(start), R"({"numberOfFiles":0})");
    start.setNumberOfFiles(-5);
    EXPECT_EQ(partsOf(start, L""), "numberOfFiles[]=-5 ");
    const auto reading = [](const std::string& number) { return parse(R"({"numberOfFiles":)" + number + "}"); };
    for (const char* number : {"2147483647", "-2147483648"}) {
        EXPECT_EQ(afterReading(start, reading(number)), reading(number).serialize());
    }
    EXPECT_EQ(afterReading(start, reading("null")), R"({"numberOfFiles":0})");
    for (const char* number : {"2147483648", "1.5", "\"7\"", "true"}) {
        EXPECT_EQ(afterReading(start, reading(number)), R"(bad JSON: {"numberOfFiles":-5})") << number;
    }
    // In a form, only plain decimal text within the range is an integer.
    EXPECT_EQ(afterReading(start, formOf({{L"numberOfFiles", "-2147483648"}})), R"({"numberOfFiles":-2147483648})");
    for (const char* text : {"", "12x", " 1", "2147483648", "1.0"}) {
        EXPECT_EQ(afterReading(start, formOf({{L"numberOfFiles", text}})), R"(not an integer: {"numberOfFiles":-5})")
            << text;
    }
}

TEST(TextListField, IsWrittenWhenNotEmptyWhateverItsFlagAndEmptiedByEveryReading)
{
    BoreholeUploadCommand command;
    command.setSiteId(L"old");
    command.getFcsStreamIds() = {L"a", L"b"};
    EXPECT_FALSE(command.fcsStreamIdsIsSet()) << "only the caller raises a list's flag";
    command.unsetFcsStreamIds();
    EXPECT_EQ(written(command), R"({"fcsStreamIds":["a","b"],"siteId":"old"})");
    EXPECT_EQ(partsOf(command, L""), R"(fcsStreamIds[application/json]=["a","b"] siteId[]=old )");
    EXPECT_EQ(afterReading(BoreholeUploadCommand(), formOf(command, L"")), written(command));
    EXPECT_EQ(afterReading(command, parse(R"({"fcsStreamIds":["x"]})")), R"({"fcsStreamIds":["x"],"siteId":"old"})");
    // A reading that does not find the key still empties the list; a value that is not an object has no keys.
    for (const value& keyless : {parse("{}"), value::string("x"), value::array(), value::null(), value::number(3)}) {
        EXPECT_EQ(afterReading(command, keyless), R"({"siteId":"old"})") << keyless.serialize();
    }
    EXPECT_EQ(afterReading(command, formOf(command, L"body")), R"({"siteId":"old"})");
    value read = parse(R"({"fcsStreamIds":["x"]})");
    command.fromJson(read);
    EXPECT_FALSE(command.fcsStreamIdsIsSet());
    command.getFcsStreamIds().clear();
    EXPECT_EQ(written(command), R"({"siteId":"old"})");
    EXPECT_EQ(partsOf(command, L""), "siteId[]=old ");
}

TEST(ModelReading, StopsAtTheFirstFieldThatCannotBeReadKeepingWhatCameBefore)
{
    BoreholeUploadCommand command; // sessionId, fcsStreamIds, siteId, crs, importType
    command.setSessionId(L"old");
    command.getFcsStreamIds() = {L"old"};
    command.setSiteId(L"old");
    EXPECT_EQ(afterReading(command, parse(R"({"siteId":"new","sessionId":5,"fcsStreamIds":["new"]})")),
              R"(bad JSON: {"sessionId":"old","fcsStreamIds":["old"],"siteId":"old"})");
    // A list that fails comes out empty.
    const std::string failedList = R"({"sessionId":"new","siteId":"old"})";
    for (const char* list : {"{}", "\"x\"", "null", "[5]"}) {
        EXPECT_EQ(afterReading(command,
                               parse(std::string(R"({"siteId":"new","sessionId":"new","fcsStreamIds":)") + list + "}")),
                  "bad JSON: " + failedList)
            << list;
    }
    const value notUtf8 = value::array({value::string("\xC3\x28")});
    EXPECT_EQ(afterReading(command, value::object({{"sessionId", value::string("new")}, {"fcsStreamIds", notUtf8}})),
              "not UTF-8: " + failedList);
    for (const char* list : {"[\"a\",", "", "{}", "[5]"}) {
        EXPECT_EQ(afterReading(command, formOf({{L"siteId", "new"}, {L"sessionId", "new"}, {L"fcsStreamIds", list}})),
                  "bad JSON: " + failedList)
            << list;
    }
    EXPECT_EQ(afterReading(command, formOf({{L"sessionId", "new"}, {L"fcsStreamIds", "[\"\xC3\x28\"]"}})),
              "not UTF-8: " + failedList);
}

TEST(ModelListField, KeepsNullElementsAndReadsEachElementThroughItsClassFactory)
{
    GetSitesResult result;
    EXPECT_EQ(afterReading(result, parse(R"({"sites":[null,"x",{"id":"s","zz":1}]})")),
              R"({"sites":[null,{},{"id":"s"}]})");
    EXPECT_EQ(afterReading(result, parse(R"({"sites":[{"id":5}]})")), "bad JSON: {}");
    EXPECT_EQ(afterReading(result, formOf({{L"sites", R"([null,{"id":"s"}])"}})), R"({"sites":[null,{"id":"s"}]})");
    EXPECT_EQ(afterReading(result, formOf({{L"sites", R"([{"id":5}])"}})), "bad JSON: {}");
    auto site = std::make_shared<Site>();
    site->setId(L"s");
    result.getSites() = {nullptr, site};
    EXPECT_EQ(written(result), R"({"sites":[null,{"id":"s"}]})");
    EXPECT_EQ(partsOf(result, L"p"), R"(p.sites[application/json]=[null,{"id":"s"}] )");
}

TEST(NestedModelField, IsWrittenWhenSetAndReadIntoAFreshModelUnlessNullOrMissing)
{
    auto tree = std::make_shared<SiteDetails>();
    tree->setId(L"t");
    GetSiteResult result;
    result.setTree(tree);
    EXPECT_EQ(written(result), R"({"tree":{"id":"t"}})");
    for (const char* kept : {"{}", R"({"tree":null})"}) {
        GetSiteResult read = result;
        value json = parse(kept);
        read.fromJson(json);
        EXPECT_EQ(read.getTree(), tree) << kept;
        EXPECT_TRUE(read.treeIsSet()) << kept;
    }
    EXPECT_EQ(afterReading(result, parse(R"({"tree":{"name":"n"}})")), R"({"tree":{"name":"n"}})");
    EXPECT_EQ(afterReading(result, parse(R"({"result":"r","tree":{"id":5}})")),
              R"(bad JSON: {"result":"r","tree":{"id":"t"}})");
    result.unsetTree();
    EXPECT_EQ(written(result), "{}");
    RDFTicketedServer server; // holds a model without fields
    server.setHttpRequestClientFactory(std::make_shared<SupplierHttpRequestClient>());
    EXPECT_EQ(afterReading(server, parse(R"({"httpRequestClientFactory":{"zz":[1]}})")),
              R"({"httpRequestClientFactory":{}})");
}

TEST(NestedModelField, NamesItsPartsFromItsOwnKeyAndIsReadOnlyWhenAPartNamesIt)
{
    auto tree = std::make_shared<SiteDetails>();
    tree->setType(L"Site");
    tree->setId(L"t1");
    tree->getChildren() = {nullptr};
    GetSiteResult result;
    result.setResult(L"ok");
    result.setTree(tree);
    const std::string treeParts = "tree.type[]=Site tree.id[]=t1 tree.children[application/json]=[null] ";
    EXPECT_EQ(partsOf(result, L""), "result[]=ok " + treeParts);
    EXPECT_EQ(partsOf(result, L"outer"), "outer.result[]=ok " + treeParts);
    EXPECT_EQ(partsOf(result, L"outer."), "outer.result[]=ok " + treeParts);
    result.setTree(nullptr);
    EXPECT_EQ(partsOf(result, L""), "result[]=ok ");
    EXPECT_EQ(afterReading(GetSiteResult(), formOf(result, L"")), R"({"result":"ok"})");
    EXPECT_EQ(afterReading(GetSiteResult(),
                           formOf({{L"tree", ""}, {L"type", "T"}, {L"tree.id", "x"}, {L"children", "[null]"}})),
              R"({"tree":{"type":"T","children":[null]}})");
}

TEST(InheritedFields, ComeFirstInJsonAndFormsAndAreRead)
{
    GeologicModel model;
    model.setModificationDate(L"d");
    model.setType(L"GeologicModel");
    EXPECT_EQ(written(model), R"({"type":"GeologicModel","modificationDate":"d"})");
    EXPECT_EQ(partsOf(model, L"m"), "m.type[]=GeologicModel m.modificationDate[]=d ");
    EXPECT_EQ(afterReading(GeologicModel(), formOf(model, L"")), written(model));
    EXPECT_EQ(afterReading(GeologicModel(), model.toJson()), written(model));
}

TEST(ModelCopies, CopyFlagsAndValuesAndShareNestedModels)
{
    auto tree = std::make_shared<SiteDetails>();
    GetSiteResult source;
    source.setResult(L"r");
    source.setTrackingNumber(L"n");
    source.unsetTrackingNumber();
    source.setTree(tree);
    GetSiteResult assigned;
    assigned.setTrackingNumber(L"other");
    assigned = source;
    for (const GetSiteResult& copy : {GetSiteResult(source), assigned}) {
        EXPECT_EQ(written(copy), R"({"result":"r","tree":{}})");
        EXPECT_EQ(copy.getTrackingNumber(), L"n");
        EXPECT_EQ(copy.getTree(), tree);
    }
    BoreholeUploadCommand command;
    command.getFcsStreamIds() = {L"a"};
    BoreholeUploadCommand copy = command;
    command.getFcsStreamIds().push_back(L"b");
    EXPECT_EQ(written(copy), R"({"fcsStreamIds":["a"]})");
}

} // namespace
