// Geologic objects: our JSON descriptions become a geologic model at the top
// of the site (feature collections, their parameters, their features), or
// replace the content of an existing model. Downloads then serve it.

#include <tools/local/exchange/imports/GeologicObject.h>
#include <tools/local/exchange/imports/ImportError.h>
#include <tools/local/exchange/imports/SiteImport.h>

#include <memory>

namespace lithmar::local::imports {
namespace {

std::string parameterText(const FeatureCollectionDescription& collection)
{
    std::string text;
    for (const auto& [key, value] : collection.parameters) {
        text += (text.empty() ? "" : ";") + key + "=" + value;
    }
    return text;
}

void putCollection(ImportTarget& target, const std::string& modelId, const FeatureCollectionDescription& collection)
{
    const std::string& site = target.record.id;
    const SiteObject node{newObjectId("fc-"), site, modelId, "FeatureCollection", collection.name, target.now, {}};
    target.site.put(node);
    const SiteObject parameters{newObjectId("par-"),
                                site,
                                node.id,
                                "Parameters",
                                collection.parametersName,
                                target.now,
                                {{"parameters", parameterText(collection)}}};
    target.site.put(parameters);
    for (const GeologicFeature& feature : collection.features) {
        target.site.put(SiteObject{newObjectId("feat-"),
                                   site,
                                   parameters.id,
                                   "Feature",
                                   feature.name,
                                   target.now,
                                   {{"isDirty", "false"},
                                    {"attributeName", feature.attribute},
                                    {"attributeValue", feature.value},
                                    {"attributeOperator", feature.op}}});
    }
}

} // namespace

SiteWrite prepareGeologicModel(const ImportCommand& command, const std::vector<SourceFile>& files)
{
    auto objects = std::make_shared<std::vector<GeologicObject>>();
    for (const SourceFile& file : files) {
        objects->push_back(readGeologicObject(file));
    }
    return [objects, command, size = totalSize(files)](ImportTarget& target) {
        SiteObject model;
        if (!command.existingId.empty()) {
            model = existingObject(target, command.existingId, "GeologicModel", "geologic model");
            target.site.removeDescendants(model.id);
        } else {
            model = SiteObject{newObjectId("gm-"), target.record.id, "", "GeologicModel", {}, {}, {}};
        }
        if (!command.name.empty()) {
            model.name = command.name;
        } else if (model.name.empty()) {
            model.name = objects->front().name;
        }
        model.modificationDate = target.now;
        target.site.put(model);
        for (const GeologicObject& object : *objects) {
            for (const FeatureCollectionDescription& collection : object.collections) {
                putCollection(target, model.id, collection);
            }
        }

        ImportOutcome outcome;
        outcome.id = model.id;
        outcome.modificationDate = model.modificationDate;
        outcome.size = size;
        return outcome;
    };
}

} // namespace lithmar::local::imports
