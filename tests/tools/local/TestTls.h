#pragma once

#include <boost/asio/ssl/context.hpp>

#include <memory>

namespace lithmar::local::testing {

// A server context with a certificate made on the spot (self-signed, for
// 127.0.0.1, valid for a day): TLS tests need no files.
std::shared_ptr<boost::asio::ssl::context> selfSignedServerTls();

// A client context that accepts any certificate: the tests using it are about
// the server's side of TLS, not about verifying it.
boost::asio::ssl::context trustingClientTls();

} // namespace lithmar::local::testing
