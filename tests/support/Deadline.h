#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/system/error_code.hpp>

#include <chrono>
#include <optional>

namespace lithmar::test {

// Generous: only reached when something is broken, so that no test hangs.
inline constexpr std::chrono::seconds kWireDeadline{20};

// Runs `io` until the one asynchronous operation that `start` begins (given
// its completion handler) completes; its error, or nullopt when it is still
// pending at the deadline, after `abandon` (which closes or cancels what the
// operation waits on) has let it end.
template <class StartOperation, class Abandon>
std::optional<boost::system::error_code> runWithDeadline(boost::asio::io_context& io, StartOperation start,
                                                         Abandon abandon)
{
    bool finished = false;
    boost::system::error_code result;
    start([&](boost::system::error_code error, auto&&...) {
        finished = true;
        result = error;
    });
    io.restart();
    io.run_for(kWireDeadline);
    if (finished) {
        return result;
    }
    abandon();
    io.restart();
    io.run();
    return std::nullopt;
}

} // namespace lithmar::test
