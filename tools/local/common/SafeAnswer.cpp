#include <tools/local/common/SafeAnswer.h>

#include <tools/local/common/RequestError.h>

#include <exception>

namespace lithmar::local {

Response answerSafely(const std::function<Response(const RecordedRequest&)>& handler, const RecordedRequest& request)
{
    const std::string where = request.method + " " + request.path;
    try {
        return handler(request);
    } catch (const RequestError& e) {
        return Response::error(e.status(), e.what());
    } catch (const std::exception& e) {
        return Response::error(500, "the local platform failed on " + where + ": " + e.what() +
                                        " (a fault of lithmar-local, not of the request: please report it)");
    } catch (...) {
        return Response::error(500, "the local platform failed on " + where +
                                        " with an unknown error (a fault of lithmar-local: please report it)");
    }
}

} // namespace lithmar::local
