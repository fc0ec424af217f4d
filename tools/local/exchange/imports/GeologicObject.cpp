#include <tools/local/exchange/imports/GeologicObject.h>

#include <tools/local/common/JsonAnswer.h>
#include <tools/local/exchange/imports/ImportError.h>

#include <algorithm>

namespace lithmar::local::imports {
namespace {

// "featureCollections[0].parameters": where a member sits, "" for the top.
std::string path(const std::string& where, const std::string& key)
{
    return where.empty() ? key : where + "." + key;
}

class Reader {
public:
    explicit Reader(const SourceFile& file) : m_file(file) {}

    [[noreturn]] void fail(const std::string& where, const std::string& what) const
    {
        throw ImportError(m_file.label() + ", " + (where.empty() ? std::string("the document") : where) + ": " + what);
    }

    const Json& member(const Json& object, const std::string& where, const char* key, Json::value_t type) const
    {
        const auto found = object.find(key);
        if (found == object.end()) {
            fail(where, std::string("the member \"") + key + "\" is missing");
        }
        if (found->type() != type) {
            fail(path(where, key), std::string("must be ") + (type == Json::value_t::array    ? "an array"
                                                              : type == Json::value_t::object ? "an object"
                                                                                              : "a string"));
        }
        return *found;
    }

    std::string text(const Json& object, const std::string& where, const char* key) const
    {
        return member(object, where, key, Json::value_t::string).get<std::string>();
    }

    GeologicFeature feature(const Json& json, const std::string& where) const
    {
        static const std::vector<std::string> operators{"=", "<>", "<", "<=", ">", ">="};
        if (!json.is_object()) {
            fail(where, "a feature must be an object");
        }
        GeologicFeature feature{text(json, where, "name"), text(json, where, "attribute"),
                                text(json, where, "operator"), text(json, where, "value")};
        if (std::find(operators.begin(), operators.end(), feature.op) == operators.end()) {
            fail(path(where, "operator"), "\"" + feature.op + "\" is none of =, <>, <, <=, >, >=");
        }
        return feature;
    }

    FeatureCollectionDescription collection(const Json& json, const std::string& where) const
    {
        if (!json.is_object()) {
            fail(where, "a feature collection must be an object");
        }
        FeatureCollectionDescription collection;
        collection.name = text(json, where, "name");
        const Json& parameters = member(json, where, "parameters", Json::value_t::object);
        const std::string parametersPath = path(where, "parameters");
        collection.parametersName = text(parameters, parametersPath, "name");
        for (const auto& [key, value] : member(parameters, parametersPath, "values", Json::value_t::object).items()) {
            if (!value.is_string() && !value.is_number()) {
                fail(path(path(parametersPath, "values"), key), "must be a string or a number");
            }
            collection.parameters.emplace_back(key, value.is_string() ? value.get<std::string>() : value.dump());
        }
        const Json& features = member(json, where, "features", Json::value_t::array);
        for (std::size_t i = 0; i < features.size(); ++i) {
            collection.features.push_back(feature(features[i], path(where, "features[" + std::to_string(i) + "]")));
        }
        return collection;
    }

private:
    const SourceFile& m_file;
};

} // namespace

GeologicObject readGeologicObject(const SourceFile& file)
{
    const Reader reader(file);
    Json document;
    try {
        document = Json::parse(file.text);
    } catch (const Json::parse_error& e) {
        throw ImportError(file.label() + " is not JSON: " + e.what());
    }
    if (!document.is_object()) {
        reader.fail("", "must be an object with \"featureCollections\"");
    }
    GeologicObject object;
    if (const auto name = document.find("name"); name != document.end()) {
        if (!name->is_string()) {
            reader.fail("name", "must be a string");
        }
        object.name = name->get<std::string>();
    }
    const Json& collections = reader.member(document, "", "featureCollections", Json::value_t::array);
    for (std::size_t i = 0; i < collections.size(); ++i) {
        object.collections.push_back(
            reader.collection(collections[i], "featureCollections[" + std::to_string(i) + "]"));
    }
    return object;
}

} // namespace lithmar::local::imports
