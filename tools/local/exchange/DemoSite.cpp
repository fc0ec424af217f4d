#include <tools/local/exchange/DemoSite.h>

#include <tools/local/common/UtcTime.h>
#include <tools/local/exchange/CrsCatalog.h>

namespace lithmar::local {
namespace {

std::vector<SiteObject> demoObjects(const std::string& now)
{
    const std::string site = kDemoSiteId;
    auto node = [&](std::string id, std::string parent, std::string kind, std::string name,
                    std::map<std::string, std::string> details = {}) {
        return SiteObject{std::move(id),   site, std::move(parent), std::move(kind),
                          std::move(name), now,  std::move(details)};
    };
    auto feature = [&](std::string id, std::string parent, std::string name, std::string attribute, std::string op,
                       std::string value) {
        return node(std::move(id), std::move(parent), "Feature", std::move(name),
                    {{"isDirty", "false"},
                     {"attributeName", std::move(attribute)},
                     {"attributeValue", std::move(value)},
                     {"attributeOperator", std::move(op)}});
    };
    return {
        node(kDemoModelId, "", "GeologicModel", "Demo geologic model"),
        node("fc-demo-lithology", kDemoModelId, "FeatureCollection", "Lithology"),
        node("par-demo-lithology", "fc-demo-lithology", "Parameters", "Lithology classes",
             {{"parameters", "classification=USCS;minThicknessM=0.5"}}),
        feature(kDemoFeatureId, "par-demo-lithology", "Sand", "LITH", "=", "SAND"),
        feature("feat-demo-clay", "par-demo-lithology", "Clay", "LITH", "=", "CLAY"),
        node("fc-demo-porosity", kDemoModelId, "FeatureCollection", "Porosity"),
        node("par-demo-porosity", "fc-demo-porosity", "Parameters", "Porosity bands",
             {{"parameters", "unit=fraction"}}),
        feature("feat-demo-porous", "par-demo-porosity", "High porosity", "POROSITY", ">=", "0.25"),
        feature("feat-demo-tight", "par-demo-porosity", "Low porosity", "POROSITY", "<", "0.1"),
        node("bhc-demo", "", "BoreholeCollection", "Boreholes", {{"totalItems", "12"}}),
        node("psc-demo", "", "PointSampleCollection", "Point samples"),
        node("pss-demo-soil", "psc-demo", "PointSampleSet", "Soil samples 2023", {{"totalItems", "48"}}),
        node("ssc-demo", "", "StaticStructureCollection", "Static structures"),
        node("ss-demo-fault", "ssc-demo", "StaticStructure", "Main fault"),
        node("trc-demo", "", "TerrainCollection", "Terrains"),
        node("ter-demo", "trc-demo", "Terrain", "Demo terrain"),
    };
}

} // namespace

void addDemoSiteIfMissing(SiteStore& sites)
{
    if (sites.site(kDemoSiteId)) {
        return;
    }
    const Crs& crs = defaultSiteCrs();
    const std::string now = utcNow();
    sites.createSite(
        {kDemoSiteId, "Demo site", "A small site to try the data exchange with", crs.id, crs.unitOfMeasure, now},
        demoObjects(now));
}

} // namespace lithmar::local
