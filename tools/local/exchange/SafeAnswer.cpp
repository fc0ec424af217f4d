#include <tools/local/exchange/SafeAnswer.h>

#include <tools/local/exchange/JsonAnswer.h>
#include <tools/local/exchange/RequestError.h>

#include <exception>

namespace lithmar::local {

Response answerSafely(const std::function<Response(const RecordedRequest&)>& handler, const RecordedRequest& request)
{
    const std::string where = request.method + " " + request.path;
    try {
        return handler(request);
    } catch (const RequestError& e) {
        return jsonError(e.status(), e.what());
    } catch (const std::exception& e) {
        return jsonError(500, "the local platform failed on " + where + ": " + e.what() +
                                  " (a fault of lithmar-local, not of the request: please report it)");
    } catch (...) {
        return jsonError(500, "the local platform failed on " + where +
                                  " with an unknown error (a fault of lithmar-local: please report it)");
    }
}

} // namespace lithmar::local
