#pragma once

#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>

namespace lithmar::local::detail {

// The two kinds of connection the server speaks HTTP and WebSocket over: the
// connection code is written once, for both, as templates on the stream.
using PlainStream = boost::beast::tcp_stream;
using TlsStream = boost::beast::ssl_stream<boost::beast::tcp_stream>;

} // namespace lithmar::local::detail
