#include <tools/local/exchange/ExchangeContext.h>

#include <tools/local/common/RequestError.h>
#include <tools/local/exchange/PercentEncoding.h>

namespace lithmar::local {

Json ExchangeContext::answerHead(const char* result)
{
    return Json{{"result", result}, {"trackingNumber", trackingNumbers.next()}};
}

SiteRecord ExchangeContext::siteOrNotFound(const std::string& id)
{
    auto site = store.sites().site(id);
    if (!site) {
        throw RequestError(404, "no site has the id \"" + id + "\"; GET /common/sites/v1 lists the sites");
    }
    return std::move(*site);
}

UploadSession ExchangeContext::uploadSessionOrNotFound(const std::string& id)
{
    auto session = store.uploads().session(id);
    if (!session) {
        throw RequestError(404, "no upload session has the id \"" + id + "\"; POST /upload/v1/start opens one");
    }
    return std::move(*session);
}

const Crs& crsOrBadRequest(const std::string& id)
{
    const Crs* crs = findCrs(id);
    if (crs == nullptr) {
        throw RequestError(400, "unknown crs \"" + id +
                                    "\"; GET /common/crs/v1 lists the known ones (or leave it empty for the site's)");
    }
    return *crs;
}

std::string idFromPath(const RecordedRequest& request, const std::string& basePath, std::string_view prefix,
                       std::string_view what)
{
    const std::size_t start = basePath.size() + prefix.size();
    const std::string_view encoded =
        start <= request.path.size() ? std::string_view(request.path).substr(start) : std::string_view();
    auto id = percentDecoded(encoded, false);
    if (!id) {
        throw RequestError(400, "the " + std::string(what) + " id \"" + std::string(encoded) +
                                    "\" in the path has a '%' that is not followed by two hex digits");
    }
    if (id->empty()) {
        throw RequestError(404, "the path names no " + std::string(what) + ": add its id");
    }
    return std::move(*id);
}

} // namespace lithmar::local
