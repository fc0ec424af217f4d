#include <lithmar/runtime/detail/RetryRules.h>

#include <lithmar/runtime/detail/TransportErrorTexts.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <locale>
#include <sstream>

namespace com::vantorel::lithmar {

AttemptOutcome classifyStatus(int status)
{
    switch (status) {
    case 429:
    case 503: return AttemptOutcome::RetryableStatus;
    case 502:
    case 504: return AttemptOutcome::GatewayStatus;
    default: return AttemptOutcome::Success;
    }
}

AttemptOutcome classifyTransportError(int errorCode, const std::string& message)
{
    using detail::TransportFailure;
    static const auto notConnected = detail::transportErrorTexts({TransportFailure::NotConnected});
    static const auto lostAfterSending = detail::transportErrorTexts({TransportFailure::LostAfterSending});
    if (errorCode == ETIMEDOUT) {
        return AttemptOutcome::Fatal;
    }
    if (detail::mentionsAny(message, notConnected)) {
        return AttemptOutcome::NotSent;
    }
    if (detail::mentionsAny(message, lostAfterSending)) {
        return AttemptOutcome::LostAfterSending;
    }
    return AttemptOutcome::Fatal;
}

bool mayRepeat(AttemptOutcome outcome, const std::string& method)
{
    const bool safeMethod = method == "GET" || method == "HEAD";
    switch (outcome) {
    case AttemptOutcome::NotSent:
    case AttemptOutcome::RetryableStatus: return true;
    case AttemptOutcome::GatewayStatus:
    case AttemptOutcome::LostAfterSending: return safeMethod;
    case AttemptOutcome::Success:
    case AttemptOutcome::Fatal: return false;
    }
    return false;
}

bool repeatsAnswer(const RetryPolicy& policy, const web::http::http_response& answer, const std::string& method)
{
    return policy.repeatedFailureTexts.empty() && mayRepeat(classifyStatus(answer.status_code()), method);
}

bool repeatsFailure(const RetryPolicy& policy, const web::http::http_exception& failure, const std::string& method)
{
    if (!policy.repeatedFailureTexts.empty()) {
        return detail::mentionsAny(failure.what(), policy.repeatedFailureTexts);
    }
    return mayRepeat(classifyTransportError(failure.error_code().value(), failure.what()), method);
}

std::chrono::milliseconds backoffDelay(const RetryPolicy& policy, int attempt, double unitRandom)
{
    const double exponent = std::max(0, attempt - 2);
    const double bound = std::min(static_cast<double>(policy.maxBackoff.count()),
                                  static_cast<double>(policy.initialBackoff.count()) * std::pow(2.0, exponent));
    return std::chrono::milliseconds(static_cast<long long>(bound * std::clamp(unitRandom, 0.0, 1.0)));
}

std::optional<std::chrono::milliseconds> parseRetryAfter(const std::string& value,
                                                         std::chrono::system_clock::time_point now)
{
    if (value.empty()) {
        return std::nullopt;
    }
    char* end = nullptr;
    errno = 0;
    const long long seconds = std::strtoll(value.c_str(), &end, 10);
    if (end == value.c_str() + value.size() && errno == 0) {
        return seconds < 0 ? std::nullopt : std::optional(std::chrono::milliseconds(seconds * 1000));
    }
    std::tm date{};
    std::istringstream text(value);
    text.imbue(std::locale::classic());
    text >> std::get_time(&date, "%a, %d %b %Y %H:%M:%S GMT");
    if (text.fail()) {
        return std::nullopt;
    }
    const auto when = std::chrono::system_clock::from_time_t(timegm(&date));
    const auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(when - now);
    return std::max(wait, std::chrono::milliseconds(0));
}

} // namespace com::vantorel::lithmar
