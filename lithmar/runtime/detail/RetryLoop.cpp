#include <lithmar/runtime/detail/RetryLoop.h>

#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/detail/Delay.h>
#include <lithmar/runtime/detail/RetryRules.h>

#include <optional>
#include <random>
#include <stdexcept>

namespace com::vantorel::lithmar::detail {
namespace {

using Clock = std::chrono::steady_clock;

double unitRandom()
{
    thread_local std::mt19937_64 generator{std::random_device{}()};
    return std::uniform_real_distribution<double>(0.0, 1.0)(generator);
}

struct RetryState {
    std::shared_ptr<Connections> connections;
    PreparedRequest request;
    RetryPolicy policy;
    Clock::time_point started = Clock::now();
    int attempt = 1;

    // The pause before the next attempt, or nothing when the policy gives up.
    std::optional<std::chrono::milliseconds> nextPause(bool repeatable,
                                                       std::optional<std::chrono::milliseconds> retryAfter) const
    {
        const bool lastAttempt = attempt >= policy.maxAttempts && policy.exhaustedMessage.empty();
        if (!repeatable || lastAttempt) {
            return std::nullopt;
        }
        const double draw = policy.jitter ? unitRandom() : 1.0;
        const auto pause = retryAfter.value_or(backoffDelay(policy, attempt + 1, draw));
        if (Clock::now() + pause - started > policy.totalBudget) {
            return std::nullopt;
        }
        return pause;
    }

    bool exhausted() const { return attempt > policy.maxAttempts; }
};

pplx::task<web::http::http_response> attempt(std::shared_ptr<RetryState> state)
{
    return send(state->connections, state->request).then([state](pplx::task<web::http::http_response> sent) {
        std::optional<std::chrono::milliseconds> pause;
        web::http::http_response response;
        const std::string& method = state->request.method;
        try {
            response = sent.get();
            std::optional<std::chrono::milliseconds> retryAfter;
            const auto header = response.headers().find("Retry-After");
            if (header != response.headers().end()) {
                retryAfter = parseRetryAfter(header->second, std::chrono::system_clock::now());
            }
            pause = state->nextPause(repeatsAnswer(state->policy, response, method), retryAfter);
            if (!pause) {
                return pplx::task_from_result(response);
            }
        } catch (const ApiException&) {
            throw; // the answer came, and was refused: sending it again changes nothing
        } catch (const web::http::http_exception& failure) {
            pause = state->nextPause(repeatsFailure(state->policy, failure, method), std::nullopt);
            if (!pause) {
                throw;
            }
        }
        ++state->attempt;
        return delay(*pause).then([state] {
            if (state->exhausted()) {
                throw std::runtime_error(state->policy.exhaustedMessage);
            }
            return attempt(state);
        });
    });
}

} // namespace

pplx::task<web::http::http_response> sendRepeating(std::shared_ptr<Connections> connections, PreparedRequest request,
                                                   RetryPolicy policy)
{
    auto state = std::make_shared<RetryState>();
    state->connections = std::move(connections);
    state->request = std::move(request);
    state->policy = std::move(policy);
    return attempt(std::move(state));
}

} // namespace com::vantorel::lithmar::detail
