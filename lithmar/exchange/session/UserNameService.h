#pragma once

#include <lithmar/exchange/lithmar_exchange_export.h>
#include <lithmar/runtime/ApiConfiguration.h>

#include <cpprest/http_client.h>

#include <memory>
#include <string>

namespace com::vantorel::lithmar {

// Who the session runs for: the login name that the platform's dashboard
// service gives for the current user.
class LITHMAR_EXCHANGE_EXPORT UserNameService {
public:
    // GETs `serviceUrl` (normally userServiceUrl(), ".../api/users/current")
    // with the HTTP settings and "Cookie" default header of `configuration`,
    // on a client of its own with a 20-minute time-out, and yields
    // userFromAnswer() of the body. A transport failure or an answer of
    // status 400 or more (the session is not signed in, say) fails the task
    // with ApiException. Throws ApiException 400 without a configuration.
    static pplx::task<std::wstring> getUser(std::wstring serviceUrl, std::shared_ptr<ApiConfiguration> configuration);

    // The string field "login" of the JSON answer, or "" when the answer is
    // not JSON, or has no string "login". An empty answer means a local
    // installation without platform users when `serviceUrl` starts with
    // "http://": "LOCAL_USER"; otherwise "".
    static std::wstring userFromAnswer(const std::wstring& serviceUrl, const std::string& answer);
};

} // namespace com::vantorel::lithmar
