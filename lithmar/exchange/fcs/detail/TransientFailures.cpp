#include <lithmar/exchange/fcs/detail/TransientFailures.h>

namespace com::vantorel::lithmar::detail {
namespace {

// In the order they are tried; the first found decides.
const char* const kTransientTexts[] = {
    // Windows (WinHTTP): ERROR_WINHTTP_INVALID_SERVER_RESPONSE, and the
    // secure-channel flag of a failed TLS handshake.
    "12152",
    "WINHTTP_CALLBACK_STATUS_FLAG_SECURITY_CHANNEL_ERROR",
    // Linux (cpprestsdk's Asio client): a first line that is not an HTTP
    // status line, directly or from a proxy, and a failed TLS handshake.
    "Invalid HTTP status line",
    "Error in SSL handshake",
};

} // namespace

bool isTransientCheckinFailure(const std::string& message)
{
    for (const char* text : kTransientTexts) {
        if (message.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

} // namespace com::vantorel::lithmar::detail
