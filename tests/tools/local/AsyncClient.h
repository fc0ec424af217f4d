#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/system/error_code.hpp>

#include <chrono>
#include <stdexcept>

namespace lithmar::local::testing {

// Runs `io` until the one asynchronous operation that `start` begins (given
// its completion handler) completes, and returns its error. Throws when the
// server leaves it pending past a generous deadline, so that no test hangs.
template <class StartOperation>
boost::system::error_code awaitOperation(boost::asio::io_context& io, StartOperation start)
{
    bool finished = false;
    boost::system::error_code result;
    start([&](boost::system::error_code error, auto&&...) {
        finished = true;
        result = error;
    });
    io.restart();
    io.run_for(std::chrono::seconds(20));
    if (!finished) {
        throw std::runtime_error("the server left an operation pending past the deadline");
    }
    return result;
}

} // namespace lithmar::local::testing
