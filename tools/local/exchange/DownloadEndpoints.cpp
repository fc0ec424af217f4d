// The download endpoints: a geologic model or one feature, as files carried
// inline in the answer.

#include <tools/local/common/RequestError.h>
#include <tools/local/exchange/ExchangeEndpoints.h>
#include <tools/local/exchange/GeologicFiles.h>
#include <tools/local/exchange/PercentEncoding.h>

#include <map>

namespace lithmar::local::endpoints {
namespace {

std::string parameter(const std::map<std::string, std::string>& query, const char* name)
{
    // The client always sends the three parameters; an absent one counts as
    // empty, as the platform takes it.
    const auto found = query.find(name);
    return found == query.end() ? std::string() : found->second;
}

} // namespace

const std::vector<DownloadKind>& downloadKinds()
{
    static const std::vector<DownloadKind> kinds{
        {"/geology/geologicmodels/v1/", "GeologicModel", "geologic model", "geologicModelId"},
        {"/geology/geologicfeatures/v1/", "Feature", "geologic feature", "geologicFeatureId"},
    };
    return kinds;
}

Response download(ExchangeContext& context, const RecordedRequest& request, const DownloadKind& kind)
{
    const std::string id = idFromPath(request, context.basePath, kind.pathPrefix, kind.what);
    const auto query = queryParameters(request.query);
    const auto object = context.store.sites().object(id);
    if (!object || object->kind != kind.objectKind) {
        throw RequestError(404, std::string("no ") + kind.what + " has the id \"" + id +
                                    "\"; GET /common/sites/v1/{siteId} shows a site's tree with the ids");
    }
    const SiteRecord site = context.siteOrNotFound(object->siteId);

    DownloadRequest wanted{parameter(query, "format"), parameter(query, "detailLevel"), nullptr};
    const std::string crs = parameter(query, "crs");
    wanted.crs = &crsOrBadRequest(crs.empty() ? site.crs : crs);

    Json files = Json::array();
    for (const DownloadedFile& file : geologicFiles(*object, context.store.sites().objects(site.id), wanted)) {
        files.push_back({{"name", file.name}, {"data", file.data}});
    }
    Json answer = context.answerHead();
    answer[kind.idKey] = id;
    answer["files"] = std::move(files);
    return jsonAnswer(200, answer);
}

} // namespace lithmar::local::endpoints
