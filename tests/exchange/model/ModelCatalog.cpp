// The catalogue is written out by hand from the service's interface, not
// derived from models.json, so that it checks the schema as well as the
// generator.
#include "ModelCatalog.h"

#include "FieldProbes.h"

#include <lithmar/exchange/model/BoreholeCollection.h>
#include <lithmar/exchange/model/BoreholeIntervalSetUploadCommand.h>
#include <lithmar/exchange/model/BoreholeUploadCommand.h>
#include <lithmar/exchange/model/CRS.h>
#include <lithmar/exchange/model/CancelUploadCommand.h>
#include <lithmar/exchange/model/CreateSiteResult.h>
#include <lithmar/exchange/model/DownloadGeologicFeatureResult.h>
#include <lithmar/exchange/model/DownloadGeologicModelResult.h>
#include <lithmar/exchange/model/DownloadedFile.h>
#include <lithmar/exchange/model/FcsFile.h>
#include <lithmar/exchange/model/FcsReceipt.h>
#include <lithmar/exchange/model/Feature.h>
#include <lithmar/exchange/model/FeatureCollection.h>
#include <lithmar/exchange/model/FieldObservationUploadCommand.h>
#include <lithmar/exchange/model/FinishUploadCommand.h>
#include <lithmar/exchange/model/GeoUploadCommand.h>
#include <lithmar/exchange/model/GeologicModel.h>
#include <lithmar/exchange/model/GetCRSResult.h>
#include <lithmar/exchange/model/GetSiteResult.h>
#include <lithmar/exchange/model/GetSitesResult.h>
#include <lithmar/exchange/model/Parameters.h>
#include <lithmar/exchange/model/PointSampleCollection.h>
#include <lithmar/exchange/model/PointSampleSet.h>
#include <lithmar/exchange/model/RDFTicketedServer.h>
#include <lithmar/exchange/model/Site.h>
#include <lithmar/exchange/model/SiteCreateCommand.h>
#include <lithmar/exchange/model/SiteDetails.h>
#include <lithmar/exchange/model/StartUploadCommand.h>
#include <lithmar/exchange/model/StartUploadResult.h>
#include <lithmar/exchange/model/StaticStructure.h>
#include <lithmar/exchange/model/StaticStructureCollection.h>
#include <lithmar/exchange/model/SupplierHttpRequestClient.h>
#include <lithmar/exchange/model/Terrain.h>
#include <lithmar/exchange/model/TerrainCollection.h>
#include <lithmar/exchange/model/TerrainUploadCommand.h>
#include <lithmar/exchange/model/TopLevelChild.h>
#include <lithmar/exchange/model/UploadBoreholeIntervalSetResult.h>
#include <lithmar/exchange/model/UploadBoreholesResult.h>
#include <lithmar/exchange/model/UploadFieldObservationResult.h>
#include <lithmar/exchange/model/UploadGeoResult.h>
#include <lithmar/exchange/model/UploadTerrainResult.h>

#include <stdexcept>

namespace lithmar_test {
namespace {

using namespace com::vantorel::lithmar::exploration::model;

// Inside MODEL(Class, ...), M is the class; each field names its key and its
// accessor stem, and the class it holds where it holds models.
#define MODEL(Class, ...)                                                                                              \
    [] {                                                                                                               \
        using M = Class;                                                                                               \
        return modelEntry<M>(#Class, &M::create##Class, {__VA_ARGS__});                                                \
    }()
#define TEXT(key, Stem) textProbe<M>(#key, &M::get##Stem, &M::set##Stem, &M::key##IsSet, &M::unset##Stem)
#define INT32(key, Stem) int32Probe<M>(#key, &M::get##Stem, &M::set##Stem, &M::key##IsSet, &M::unset##Stem)
#define NESTED(key, Stem, Held)                                                                                        \
    nestedProbe<M, Held>(#key, #Held, &M::get##Stem, &M::set##Stem, &M::key##IsSet, &M::unset##Stem)
#define TEXTS(key, Stem) textsProbe<M>(#key, &M::get##Stem, &M::key##IsSet, &M::unset##Stem)
#define MODELS(key, Stem, Held) modelsProbe<M, Held>(#key, #Held, &M::get##Stem, &M::key##IsSet, &M::unset##Stem)

std::vector<ModelCase> buildCatalog()
{
    return {
        MODEL(CRS, TEXT(id, Id), TEXT(name, Name), TEXT(unitofmeasure, Unitofmeasure)),
        MODEL(GetCRSResult, TEXT(result, Result), TEXT(trackingNumber, TrackingNumber), MODELS(crs, Crs, CRS)),
        MODEL(Site, TEXT(id, Id), TEXT(name, Name), TEXT(description, Description), TEXT(crs, Crs),
              TEXT(unitofmeasure, Unitofmeasure)),
        MODEL(SiteDetails, TEXT(type, Type), TEXT(id, Id), TEXT(name, Name), TEXT(modificationDate, ModificationDate),
              MODELS(children, Children, TopLevelChild)),
        MODEL(SiteCreateCommand, TEXT(siteName, SiteName)),
        MODEL(CreateSiteResult, TEXT(result, Result), TEXT(trackingNumber, TrackingNumber), TEXT(name, Name),
              TEXT(id, Id)),
        MODEL(GetSiteResult, TEXT(result, Result), TEXT(trackingNumber, TrackingNumber),
              NESTED(tree, Tree, SiteDetails)),
        MODEL(GetSitesResult, TEXT(result, Result), TEXT(trackingNumber, TrackingNumber), MODELS(sites, Sites, Site)),
        MODEL(Parameters, TEXT(type, Type), TEXT(id, Id), TEXT(name, Name), TEXT(parameters, Parameters),
              MODELS(children, Children, Feature)),
        MODEL(StartUploadCommand, INT32(numberOfFiles, NumberOfFiles)),
        MODEL(StartUploadResult, TEXT(sessionId, SessionId), MODELS(fcsFiles, FcsFiles, FcsFile)),
        MODEL(FinishUploadCommand, TEXT(sessionId, SessionId), MODELS(fcsReceipts, FcsReceipts, FcsReceipt)),
        MODEL(CancelUploadCommand, TEXTS(fcsIds, FcsIds)),
        MODEL(BoreholeUploadCommand, TEXT(sessionId, SessionId), TEXTS(fcsStreamIds, FcsStreamIds),
              TEXT(siteId, SiteId), TEXT(crs, Crs), TEXT(importType, ImportType)),
        MODEL(BoreholeIntervalSetUploadCommand, TEXT(sessionId, SessionId), TEXT(fcsStreamId, FcsStreamId),
              TEXT(name, Name), TEXT(siteId, SiteId), TEXT(importType, ImportType)),
        MODEL(FieldObservationUploadCommand, TEXT(sessionId, SessionId), TEXTS(fcsStreamIds, FcsStreamIds),
              TEXT(name, Name), TEXT(siteId, SiteId), TEXT(crs, Crs), TEXT(importType, ImportType),
              TEXT(existingFieldObservationId, ExistingFieldObservationId)),
        MODEL(GeoUploadCommand, TEXT(sessionId, SessionId), TEXTS(fcsStreamIds, FcsStreamIds), TEXT(name, Name),
              TEXT(siteId, SiteId), TEXT(crs, Crs), TEXT(importType, ImportType), TEXT(existingGeoId, ExistingGeoId)),
        MODEL(TerrainUploadCommand, TEXT(sessionId, SessionId), TEXTS(fcsStreamIds, FcsStreamIds), TEXT(name, Name),
              TEXT(siteId, SiteId), TEXT(crs, Crs), TEXT(importType, ImportType),
              TEXT(existingTerrainId, ExistingTerrainId)),
        MODEL(UploadBoreholesResult, TEXT(result, Result), TEXT(trackingNumber, TrackingNumber), TEXT(count, Count),
              TEXT(jobId, JobId), TEXT(timing, Timing)),
        MODEL(UploadBoreholeIntervalSetResult, TEXT(result, Result), TEXT(trackingNumber, TrackingNumber),
              TEXT(count, Count), TEXT(jobId, JobId)),
        MODEL(UploadFieldObservationResult, TEXT(result, Result), TEXT(trackingNumber, TrackingNumber), TEXT(id, Id),
              TEXT(jobId, JobId)),
        MODEL(UploadGeoResult, TEXT(result, Result), TEXT(trackingNumber, TrackingNumber), TEXT(id, Id),
              TEXT(modificationDate, ModificationDate), TEXT(size, Size), TEXT(jobId, JobId)),
        MODEL(UploadTerrainResult, TEXT(result, Result), TEXT(trackingNumber, TrackingNumber), TEXT(id, Id),
              TEXT(modificationDate, ModificationDate), TEXT(size, Size), TEXT(jobId, JobId)),
        MODEL(TopLevelChild, TEXT(type, Type), TEXT(id, Id), TEXT(name, Name)),
        MODEL(BoreholeCollection, TEXT(type, Type), TEXT(id, Id), TEXT(name, Name), TEXT(totalItems, TotalItems)),
        MODEL(GeologicModel, TEXT(type, Type), TEXT(id, Id), TEXT(name, Name),
              MODELS(children, Children, FeatureCollection), TEXT(modificationDate, ModificationDate)),
        MODEL(PointSampleCollection, TEXT(type, Type), TEXT(id, Id), TEXT(name, Name),
              MODELS(children, Children, PointSampleSet)),
        MODEL(StaticStructureCollection, TEXT(type, Type), TEXT(id, Id), TEXT(name, Name),
              MODELS(children, Children, StaticStructure)),
        MODEL(TerrainCollection, TEXT(type, Type), TEXT(id, Id), TEXT(name, Name), MODELS(children, Children, Terrain)),
        MODEL(FeatureCollection, TEXT(type, Type), TEXT(id, Id), TEXT(name, Name),
              MODELS(children, Children, Parameters)),
        MODEL(Feature, TEXT(type, Type), TEXT(isDirty, IsDirty), TEXT(id, Id), TEXT(name, Name),
              TEXT(attributeName, AttributeName), TEXT(attributeValue, AttributeValue),
              TEXT(attributeOperator, AttributeOperator)),
        MODEL(PointSampleSet, TEXT(type, Type), TEXT(id, Id), TEXT(name, Name), TEXT(totalItems, TotalItems)),
        MODEL(StaticStructure, TEXT(type, Type), TEXT(id, Id), TEXT(name, Name),
              TEXT(modificationDate, ModificationDate)),
        MODEL(Terrain, TEXT(type, Type), TEXT(id, Id), TEXT(name, Name), TEXT(modificationDate, ModificationDate)),
        MODEL(DownloadGeologicModelResult, TEXT(result, Result), TEXT(trackingNumber, TrackingNumber),
              TEXT(geologicModelId, GeologicModelId), MODELS(files, Files, DownloadedFile)),
        MODEL(DownloadGeologicFeatureResult, TEXT(result, Result), TEXT(trackingNumber, TrackingNumber),
              TEXT(geologicFeatureId, GeologicFeatureId), MODELS(files, Files, DownloadedFile)),
        MODEL(DownloadedFile, TEXT(name, Name), TEXT(data, Data)),
        MODEL(FcsFile, TEXT(fcsStreamId, FcsStreamId), TEXT(fcsFileUrl, FcsFileUrl),
              TEXT(fcsFileTicket, FcsFileTicket)),
        MODEL(FcsReceipt, TEXT(fcsStreamId, FcsStreamId), TEXT(fcsReciept, FcsReciept)),
        MODEL(SupplierHttpRequestClient, ),
        MODEL(RDFTicketedServer, NESTED(httpRequestClientFactory, HttpRequestClientFactory, SupplierHttpRequestClient)),
    };
}

} // namespace

const std::vector<ModelCase>& modelCatalog()
{
    static const std::vector<ModelCase> catalog = buildCatalog();
    return catalog;
}

const ModelCase& modelCase(const std::string& name)
{
    for (const ModelCase& entry : modelCatalog()) {
        if (entry.name == name) {
            return entry;
        }
    }
    throw std::out_of_range("no model class " + name + " in the catalogue");
}

std::vector<FieldCase> fieldCatalog()
{
    std::vector<FieldCase> fields;
    for (const ModelCase& entry : modelCatalog()) {
        for (std::size_t index = 0; index < entry.fields.size(); ++index) {
            fields.push_back({&entry, index});
        }
    }
    return fields;
}

std::string caseName(const ModelCase& model)
{
    return model.name;
}

std::string caseName(const FieldCase& field)
{
    return field.model->name + "_" + field.field().key;
}

void PrintTo(const ModelCase& model, std::ostream* out)
{
    *out << caseName(model);
}

void PrintTo(const FieldCase& field, std::ostream* out)
{
    *out << caseName(field);
}

} // namespace lithmar_test
