#include "Failure.h"

#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/Utf8.h>

#include <cerrno>
#include <filesystem>
#include <iterator>

namespace lithmar::xchng {
namespace {

namespace lithmar = com::vantorel::lithmar;

std::string bodyOf(const lithmar::ApiException& error)
{
    const auto content = error.getContent();
    if (!content) {
        return {};
    }
    std::string body(std::istreambuf_iterator<char>(*content), {});
    constexpr std::size_t kShown = 400;
    if (body.size() > kShown) {
        body = body.substr(0, kShown) + "...";
    }
    return body.empty() ? body : "\n" + body;
}

bool isBadAnswer(const lithmar::ApiException& error)
{
    const std::string message = error.what();
    return message.find("unexpected response type") != std::string::npos ||
           message.find("unsupported response type") != std::string::npos;
}

} // namespace

Failure describe(std::exception_ptr error, const std::string& serviceUrl)
{
    try {
        std::rethrow_exception(error);
    } catch (const lithmar::ApiException& failure) {
        if (isBadAnswer(failure)) {
            return {BadAnswer, std::string(failure.what()) + " (is " + serviceUrl + " the data exchange service?)" +
                                   bodyOf(failure)};
        }
        const int code = failure.error_code().value();
        const std::wstring& message = failure.getMessage();
        if (code == 408 && message == L"Timeout waiting for response.") {
            return {ServiceError, std::string(failure.what()) +
                                      " The import's result did not arrive within --timeout seconds; the service "
                                      "may still finish it: see `xchng sites show`, or upload again with a longer "
                                      "--timeout"};
        }
        if (code == 500 && message == L"Unable to track result via notification.") {
            return {ServiceError, std::string(failure.what()) +
                                      " The platform named no signed-in user or gave no login ticket, so the "
                                      "import's result cannot reach xchng. Sign in, or check the platform's user and "
                                      "login services"};
        }
        if (code == 404) {
            return {ServiceError, std::string(failure.what()) + ": no such object at " + serviceUrl + bodyOf(failure)};
        }
        return {ServiceError, std::string(failure.what()) + bodyOf(failure)};
    } catch (const web::http::http_exception& failure) {
        if (failure.error_code().value() == ETIMEDOUT) {
            return {Unreachable, "the service at " + serviceUrl +
                                     " did not answer in time; raise --timeout or check that it is running"};
        }
        const std::string what = failure.what();
        if (what.find("handshake") != std::string::npos || what.find("certificate") != std::string::npos) {
            return {Unreachable, "no secure connection to " + serviceUrl + ": " + what +
                                     "\nA service with a private certificate authority (lithmar-local --platform "
                                     "prints its CA file) needs --ca-file"};
        }
        return {Unreachable, "cannot reach the service at " + serviceUrl + ": " + failure.what() +
                                 "\nIs lithmar-local running (`lithmar-local --port ...`), and is --url right?"};
    } catch (const web::json::json_exception& failure) {
        return {BadAnswer, std::string("the service sent an answer that is not the JSON expected: ") + failure.what()};
    } catch (const lithmar::EncodingError& failure) {
        return {BadAnswer, std::string("the service sent text that is not UTF-8: ") + failure.what()};
    } catch (const std::filesystem::filesystem_error& failure) {
        return {LocalError, failure.what()};
    } catch (const web::uri_exception& failure) {
        return {Usage, "--url is not a valid URL: " + serviceUrl + " (" + failure.what() + ")"};
    } catch (const std::exception& failure) {
        return {Unexpected, std::string("unexpected error: ") + failure.what()};
    }
}

} // namespace lithmar::xchng
