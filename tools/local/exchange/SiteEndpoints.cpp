// The site endpoints: the session-opening request, sites, their trees and
// the coordinate reference systems.

#include <tools/local/common/RequestError.h>
#include <tools/local/common/SecureRandom.h>
#include <tools/local/common/UtcTime.h>
#include <tools/local/common/Utf8.h>
#include <tools/local/exchange/CrsCatalog.h>
#include <tools/local/exchange/ExchangeEndpoints.h>
#include <tools/local/exchange/JsonCommand.h>
#include <tools/local/exchange/PercentEncoding.h>
#include <tools/local/exchange/SiteTree.h>
#include <tools/local/server/AsciiText.h>

namespace lithmar::local::endpoints {
namespace {

constexpr std::size_t kMaxSiteNameLength = 200;

} // namespace

Response sitesOrSessionOpening(ExchangeContext& context, const RecordedRequest& request)
{
    if (queryParameters(request.query).count("xrequestedwith") != 0) {
        // The client only wants the session cookies that come with any answer.
        return jsonAnswer(200, Json::object());
    }
    Json sites = Json::array();
    for (const SiteRecord& site : context.store.sites().sites()) {
        sites.push_back({{"id", site.id},
                         {"name", site.name},
                         {"description", site.description},
                         {"crs", site.crs},
                         {"unitofmeasure", site.unitOfMeasure}});
    }
    Json answer = context.answerHead();
    answer["sites"] = std::move(sites);
    return jsonAnswer(200, answer);
}

Response createSite(ExchangeContext& context, const RecordedRequest& request)
{
    const Json command = commandObject(request);
    // Stored without surrounding spaces, so that " North" and "North" are
    // the same site.
    const std::string name(trimmed(requiredText(command, "siteName")));
    if (codePointCount(name) > kMaxSiteNameLength) {
        throw RequestError(400, "the site name has " + std::to_string(codePointCount(name)) +
                                    " characters; use at most " + std::to_string(kMaxSiteNameLength));
    }
    const Crs& crs = defaultSiteCrs();
    const SiteRecord site{"site-" + secureRandomHex(8), name, "", crs.id, crs.unitOfMeasure, utcNow()};
    if (!context.store.sites().createSite(site)) {
        throw RequestError(409, "a site named \"" + name + "\" exists already; choose another name");
    }
    Json answer = context.answerHead();
    answer["name"] = site.name;
    answer["id"] = site.id;
    return jsonAnswer(200, answer);
}

Response siteDetails(ExchangeContext& context, const RecordedRequest& request)
{
    const std::string id = idFromPath(request, context.basePath, "/common/sites/v1/", "site");
    const SiteRecord site = context.siteOrNotFound(id);
    Json answer = context.answerHead();
    answer["tree"] = siteTree(site, context.store.sites().objects(id));
    return jsonAnswer(200, answer);
}

Response crsList(ExchangeContext& context, const RecordedRequest&)
{
    Json list = Json::array();
    for (const Crs& crs : knownCrs()) {
        list.push_back({{"id", crs.id}, {"name", crs.name}, {"unitofmeasure", crs.unitOfMeasure}});
    }
    Json answer = context.answerHead();
    answer["crs"] = std::move(list);
    return jsonAnswer(200, answer);
}

} // namespace lithmar::local::endpoints
