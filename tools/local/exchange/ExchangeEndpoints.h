#pragma once

#include <tools/local/exchange/ExchangeContext.h>
#include <tools/local/server/Response.h>

#include <vector>

namespace lithmar::local::endpoints {

// The data exchange endpoints, one function each. They throw RequestError
// for what the client got wrong; the service answers it (see ExchangeService).

// GET /common/sites/v1: with ?xrequestedwith=... the session-opening request
// ({}), otherwise the list of sites.
Response sitesOrSessionOpening(ExchangeContext& context, const RecordedRequest& request);
// POST /common/sites/v1 {"siteName"}
Response createSite(ExchangeContext& context, const RecordedRequest& request);
// GET /common/sites/v1/{id}
Response siteDetails(ExchangeContext& context, const RecordedRequest& request);
// GET /common/crs/v1
Response crsList(ExchangeContext& context, const RecordedRequest& request);

// POST /upload/v1/start {"numberOfFiles"}
Response startUpload(ExchangeContext& context, const RecordedRequest& request);
// POST /upload/v1/finish {"sessionId", "fcsReceipts"}
Response finishUpload(ExchangeContext& context, const RecordedRequest& request);

// How the import commands of one endpoint differ.
struct ImportKind {
    const char* path;          // after the base path: "/exploration/geos/v1"
    const char* job;           // JobRecord::kind
    const char* what;          // for messages: "geologic model"
    bool singleStream;         // "fcsStreamId" rather than "fcsStreamIds"
    bool named;                // carries "name"
    bool hasCrs;               // carries "crs"
    const char* existingIdKey; // "existingGeoId", or nullptr
    const char* existingKind;  // the site object kind the existing id names
};
// Boreholes, borehole interval sets, field observations, geos, terrains.
const std::vector<ImportKind>& importKinds();
// POST <kind.path>
Response importFiles(ExchangeContext& context, const RecordedRequest& request, const ImportKind& kind);

// How the two download endpoints differ.
struct DownloadKind {
    const char* pathPrefix; // after the base path, up to the id
    const char* objectKind; // SiteObject::kind
    const char* what;       // for messages
    const char* idKey;      // the answer's key for the id
};
// Geologic models, geologic features.
const std::vector<DownloadKind>& downloadKinds();
// GET <kind.pathPrefix>{id}?format=&detailLevel=&crs=
Response download(ExchangeContext& context, const RecordedRequest& request, const DownloadKind& kind);

} // namespace lithmar::local::endpoints
