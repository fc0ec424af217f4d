#pragma once

#include <tools/local/exchange/ExchangeContext.h>
#include <tools/local/server/Response.h>

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

// POST /exploration/{boreholes,boreholeintervalsets,fieldobservations,geos,terrains}/v1
Response importBoreholes(ExchangeContext& context, const RecordedRequest& request);
Response importBoreholeIntervalSet(ExchangeContext& context, const RecordedRequest& request);
Response importFieldObservation(ExchangeContext& context, const RecordedRequest& request);
Response importGeo(ExchangeContext& context, const RecordedRequest& request);
Response importTerrain(ExchangeContext& context, const RecordedRequest& request);

// GET /geology/geologicmodels/v1/{id}?format=&detailLevel=&crs=
Response downloadGeologicModel(ExchangeContext& context, const RecordedRequest& request);
// GET /geology/geologicfeatures/v1/{id}?format=&detailLevel=&crs=
Response downloadGeologicFeature(ExchangeContext& context, const RecordedRequest& request);

} // namespace lithmar::local::endpoints
