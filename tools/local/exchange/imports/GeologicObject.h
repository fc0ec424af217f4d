#pragma once

#include <tools/local/exchange/imports/SourceFile.h>

#include <string>
#include <utility>
#include <vector>

namespace lithmar::local::imports {

// A geologic model as our JSON files describe it:
//
//     {"name": "Valley fill",
//      "featureCollections": [
//        {"name": "Lithology",
//         "parameters": {"name": "Lithology classes", "values": {"classification": "USCS"}},
//         "features": [{"name": "Gravel", "attribute": "LITH", "operator": "=", "value": "GRAVEL"}]}]}
//
// A feature selects the cells whose attribute passes the test.
struct GeologicFeature {
    std::string name;
    std::string attribute;
    std::string op; // =, <>, <, <=, >, >=
    std::string value;
};

struct FeatureCollectionDescription {
    std::string name;
    std::string parametersName;
    std::vector<std::pair<std::string, std::string>> parameters; // in the file's order
    std::vector<GeologicFeature> features;
};

struct GeologicObject {
    std::string name; // may be empty: the import's name counts first
    std::vector<FeatureCollectionDescription> collections;
};

// Throws ImportError naming the place of the first fault ("featureCollections[1].features[0].operator"):
// text that is not JSON, a missing or mistyped member, an unknown operator.
GeologicObject readGeologicObject(const SourceFile& file);

} // namespace lithmar::local::imports
