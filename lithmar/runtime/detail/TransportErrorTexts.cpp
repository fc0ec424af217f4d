#include <lithmar/runtime/detail/TransportErrorTexts.h>

#include <algorithm>

namespace com::vantorel::lithmar::detail {
namespace {

struct KnownText {
    TransportFailure failure;
    const char* text;
};

// The texts of cpprestsdk 2.10.18's Asio client (Linux) and of WinHTTP
// (Windows). A text of the other platform's layer never occurs, so every
// text is looked for everywhere.
const KnownText kKnownTexts[] = {
    {TransportFailure::NotConnected, "Failed to connect to any resolved endpoint"},
    {TransportFailure::NotConnected, "Error resolving address"},
    // Also the text of a time-out, which the rules tell apart by its code.
    {TransportFailure::LostAfterSending, "Failed to read HTTP status line"},
    {TransportFailure::LostAfterSending, "Failed to write request body"},
    // WinHTTP: ERROR_WINHTTP_INVALID_SERVER_RESPONSE.
    {TransportFailure::NotHttp, "12152"},
    {TransportFailure::FailedHandshake, "WINHTTP_CALLBACK_STATUS_FLAG_SECURITY_CHANNEL_ERROR"},
    // Also the start of "Invalid HTTP status line during proxy connection".
    {TransportFailure::NotHttp, "Invalid HTTP status line"},
    {TransportFailure::FailedHandshake, "Error in SSL handshake"},
};

} // namespace

std::vector<std::string> transportErrorTexts(std::initializer_list<TransportFailure> failures)
{
    std::vector<std::string> texts;
    for (const KnownText& known : kKnownTexts) {
        if (std::find(failures.begin(), failures.end(), known.failure) != failures.end()) {
            texts.emplace_back(known.text);
        }
    }
    return texts;
}

bool mentionsAny(const std::string& message, const std::vector<std::string>& texts)
{
    return std::any_of(texts.begin(), texts.end(),
                       [&message](const std::string& text) { return message.find(text) != std::string::npos; });
}

} // namespace com::vantorel::lithmar::detail
