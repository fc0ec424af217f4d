#include <lithmar/exchange/notification/PollService.h>

#include <lithmar/exchange/notification/NotificationTopic.h>
#include <lithmar/runtime/ApiClient.h>
#include <lithmar/runtime/Utf8.h>
#include <lithmar/runtime/detail/Delay.h>

#include <cpprest/json.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <sstream>

namespace com::vantorel::lithmar {
namespace {

using Callback = void (*)(const char*);

const wchar_t kPollBaseUrl[] = L"http://127.0.0.1:8080/notification/api/notification/";
constexpr std::chrono::milliseconds kPauseBetweenCycles{5000};

// Guarded by the poll lock; never destroyed, because the last cycle of a
// loop may still run while the process exits.
struct PollState {
    std::mutex pollLock;
    bool running = false;
    std::int32_t listenTimeout = 0;
    std::time_t lastConnectTime = 0;
};

PollState& state()
{
    static PollState* const instance = new PollState;
    return *instance;
}

void reportFailure(pplx::task<void> cycle)
{
    std::lock_guard<std::mutex> lock(state().pollLock);
    try {
        cycle.get();
        return;
    } catch (const web::http::http_exception& e) {
        std::printf("Failure in %s: %s [%d]\n", "Polling", e.what(), e.error_code().value());
    } catch (...) {
        std::printf("Failure in %s: internal error.\n", "Polling");
    }
    std::fflush(stdout);
    state().running = false;
}

// Sends the request for `index` and watches the cycle; called with the poll
// lock held.
void startCycle(Callback callback, int index)
{
    pplx::task<void> cycle;
    try {
        cycle = Poll(callback, index);
    } catch (...) {
        cycle = pplx::task_from_exception<void>(std::current_exception());
    }
    cycle.then(reportFailure);
}

// {"actions":[{"options":{"event":{"options":{"topic":..., "data": payload}}}}]}
std::string messageAround(const web::json::value& payload)
{
    web::json::value eventOptions = web::json::value::object();
    eventOptions["topic"] = web::json::value::string(kDataExchangeTopic);
    eventOptions["data"] = payload;
    web::json::value event = web::json::value::object();
    event["options"] = std::move(eventOptions);
    web::json::value actionOptions = web::json::value::object();
    actionOptions["event"] = std::move(event);
    web::json::value action = web::json::value::object();
    action["options"] = std::move(actionOptions);
    web::json::value message = web::json::value::object();
    message["actions"] = web::json::value::array({std::move(action)});
    return message.serialize();
}

// The first half of the cycle handler: reads the answer, hands a
// notification to the callback and gives the index to ask for next. Throws
// when the answer is not a JSON string or its payload is neither a number
// nor JSON.
int handleAnswer(const std::string& body, Callback callback, int index)
{
    const web::json::value answer = web::json::value::parse(body);
    const std::string payload = answer.as_string();
    // Checked once so that bad bytes fail the cycle instead of reaching the callback.
    fromUtf8(payload);
    if (payload.empty()) {
        return index;
    }
    char* end = nullptr;
    const long number = std::strtol(payload.c_str(), &end, 10);
    if (*end == '\0') {
        return static_cast<int>(number);
    }
    const std::string message = messageAround(web::json::value::parse(payload));
    callback(message.c_str());
    return static_cast<int>(static_cast<std::int64_t>(index) + 1);
}

// The second half, after the pause: ends the loop at its deadline or asks
// for the next index.
void afterPause(Callback callback, int nextIndex)
{
    std::lock_guard<std::mutex> lock(state().pollLock);
    PollState& poll = state();
    if (std::difftime(std::time(nullptr), poll.lastConnectTime) > static_cast<double>(poll.listenTimeout)) {
        poll.running = false;
        callback(nullptr);
    }
    if (poll.running) {
        startCycle(callback, nextIndex);
    }
}

} // namespace

bool PollService::Connect(const char*, const char*, const char*, int timeout, void (*callback)(const char*))
{
    std::lock_guard<std::mutex> lock(state().pollLock);
    PollState& poll = state();
    poll.listenTimeout = timeout;
    poll.lastConnectTime = std::time(nullptr);
    if (!poll.running) {
        poll.running = true;
        startCycle(callback, -1);
    }
    return true;
}

pplx::task<void> Poll(void (*callback)(const char*), int index)
{
    auto configuration = std::make_shared<ApiConfiguration>();
    configuration->setBaseUrl(kPollBaseUrl);
    const auto client = std::make_shared<ApiClient>(configuration);

    auto headers = configuration->getDefaultHeaders();
    headers[L"Content-Type"] = L"application/json";
    std::wostringstream path;
    path << index;

    return client->callApi(path.str(), L"GET", {}, nullptr, headers, {}, {}, L"application/json")
        .then([client](web::http::http_response response) { return response.extract_string(true); })
        .then([callback, index](const std::string& body) {
            const int nextIndex = handleAnswer(body, callback, index);
            return detail::delay(kPauseBetweenCycles).then([callback, nextIndex] { afterPause(callback, nextIndex); });
        });
}

} // namespace com::vantorel::lithmar
