#include "Failure.h"

#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/Utf8.h>

#include <cerrno>
#include <filesystem>
#include <iterator>
#include <stdexcept>

#include <cpprest/json.h>

namespace lithmar::xchng {
namespace {

namespace lithmar = com::vantorel::lithmar;

std::string bodyOf(const lithmar::ApiException& error)
{
    const auto content = error.getContent();
    return content ? std::string(std::istreambuf_iterator<char>(*content), {}) : std::string();
}

// The start of a body, on a line of its own below the message.
std::string shown(std::string body)
{
    constexpr std::size_t kShown = 400;
    if (body.size() > kShown) {
        body = body.substr(0, kShown) + "...";
    }
    return body.empty() ? body : "\n" + body;
}

// The service's own words in an error body: the "error" text that the
// platform's answers carry, or the body as it is.
std::string platformWordsIn(const std::string& body)
{
    std::error_code invalid;
    const auto json = web::json::value::parse(body, invalid);
    if (!invalid && json.is_object() && json.has_string_field("error")) {
        return json.at("error").as_string();
    }
    return body;
}

bool isBadAnswer(const lithmar::ApiException& error)
{
    const std::string message = error.what();
    return message.find("unexpected response type") != std::string::npos ||
           message.find("unsupported response type") != std::string::npos;
}

Failure describeApiException(const lithmar::ApiException& failure, const std::string& serviceUrl)
{
    const std::string body = bodyOf(failure);
    if (isBadAnswer(failure)) {
        return {BadAnswer,
                std::string(failure.what()) + " (is " + serviceUrl + " the data exchange service?)" + shown(body)};
    }
    const int code = failure.error_code().value();
    const std::wstring& message = failure.getMessage();
    Failure described{ServiceError, std::string(failure.what()) + shown(body), code, platformWordsIn(body)};
    if (code == 408 && message == L"Timeout waiting for response.") {
        described.message = std::string(failure.what()) +
                            " The import's result did not arrive within --timeout seconds; the service may still "
                            "finish it: see `xchng sites show`, or upload again with a longer --timeout";
    } else if (code == 500 && message == L"Unable to track result via notification.") {
        described.message = std::string(failure.what()) +
                            " The platform named no signed-in user or gave no login ticket, so the import's result "
                            "cannot reach xchng. Sign in, or check the platform's user and login services";
    } else if (code == 404) {
        described.message = std::string(failure.what()) + ": no such object at " + serviceUrl + shown(body);
    }
    return described;
}

} // namespace

std::string exitCodesHelp()
{
    return "Exit codes:\n"
           "  0    done\n"
           "  1    unexpected error\n"
           "  2    usage: a bad command line or option, a missing file\n"
           "  3    the service could not be reached or did not answer in time\n"
           "  4    the service answered with an error (no such site, time-out of an import's result, ...)\n"
           "  5    the service's answer is not what a data exchange service sends\n"
           "  6    a local file could not be written\n"
           "  7    an import was carried out or refused by the service and did not succeed\n"
           "  130  stopped with Ctrl+C\n"
           "With --json, a failure is one JSON object on stderr: command, exitCode, status, message,\n"
           "platformMessage, and uploadSession when an upload session was open.\n";
}

Failure describe(std::exception_ptr error, const std::string& serviceUrl)
{
    try {
        std::rethrow_exception(error);
    } catch (const InterruptedSession& interrupted) {
        Failure described = describe(interrupted.cause, serviceUrl);
        described.session = interrupted.session;
        return described;
    } catch (const FailedImport& failed) {
        return {ImportFailed, failed.what + " did not succeed: " + failed.result, 0, failed.result};
    } catch (const Interrupted& interrupted) {
        return {Cancelled, "stopped waiting for " + interrupted.what +
                               "; the service may still finish it: see `xchng sites show`"};
    } catch (const std::invalid_argument& failure) {
        return {Usage, failure.what()};
    } catch (const lithmar::ApiException& failure) {
        return describeApiException(failure, serviceUrl);
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
