#include <lithmar/runtime/detail/Delay.h>

#include <boost/asio/steady_timer.hpp>
#include <pplx/threadpool.h>

#include <memory>

namespace com::vantorel::lithmar::detail {

pplx::task<void> delay(std::chrono::milliseconds duration)
{
    if (duration <= std::chrono::milliseconds::zero()) {
        return pplx::task_from_result();
    }
    pplx::task_completion_event<void> done;
    auto timer = std::make_shared<boost::asio::steady_timer>(crossplat::threadpool::shared_instance().service(), duration);
    timer->async_wait([timer, done](const boost::system::error_code&) { done.set(); });
    return pplx::create_task(done);
}

} // namespace com::vantorel::lithmar::detail
