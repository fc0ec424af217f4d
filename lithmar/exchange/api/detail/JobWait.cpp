#include <lithmar/exchange/api/detail/JobWait.h>

#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/detail/Delay.h>

#include <exception>
#include <memory>

namespace com::vantorel::lithmar::exploration::api::detail {
namespace {

struct WaitState {
    WaitState(const std::atomic<int32_t>& seconds, LookForResult lookOnce, std::chrono::milliseconds pause)
        : timeOut(seconds), look(std::move(lookOnce)), interval(pause)
    {
    }

    const std::atomic<int32_t>& timeOut;
    const LookForResult look;
    const std::chrono::milliseconds interval;
    int32_t looks = 0;
    pplx::task_completion_event<void> done;
};

int32_t currentTimeOut(const WaitState& state)
{
    // Only this wait's own order matters: the host may change the value at any time.
    return state.timeOut.load(std::memory_order_relaxed);
}

void giveUp(const WaitState& state, int32_t timeOut)
{
    if (state.looks == timeOut) {
        state.done.set_exception(ApiException(408, L"Timeout waiting for response."));
    } else {
        state.done.set();
    }
}

// Arms the next pause; the look runs on the task pool when it ends and arms
// the one after, so the state lives exactly as long as its pending timer.
void lookAfterPause(const std::shared_ptr<WaitState>& state)
{
    lithmar::detail::delay(state->interval).then([state](const pplx::task<void>& pause) {
        try {
            pause.get();
            if (state->look()) {
                state->done.set();
                return;
            }
            ++state->looks;
            const int32_t timeOut = currentTimeOut(*state);
            if (state->looks >= timeOut) {
                giveUp(*state, timeOut);
                return;
            }
        } catch (...) {
            state->done.set_exception(std::current_exception());
            return;
        }
        lookAfterPause(state);
    });
}

} // namespace

pplx::task<void> awaitJobResult(const std::atomic<int32_t>& timeOut, LookForResult look,
                                std::chrono::milliseconds interval)
{
    auto state = std::make_shared<WaitState>(timeOut, std::move(look), interval);
    const int32_t initial = currentTimeOut(*state);
    if (initial <= 0) {
        giveUp(*state, initial);
    } else {
        lookAfterPause(state);
    }
    return pplx::create_task(state->done);
}

} // namespace com::vantorel::lithmar::exploration::api::detail
