#pragma once

#include <lithmar/exchange/lithmar_exchange_export.h>
#include <lithmar/runtime/ApiConfiguration.h>

#include <cpprest/http_client.h>

#include <memory>
#include <string>

namespace com::vantorel::lithmar {

// The login ticket that a client shows the platform's services (the
// notification service, for one) to act for the signed-in user. The ticket
// comes from the platform's login service (id "sentrowe" in the services
// directory): asked for a login to the service "GATE" by a signed-in
// session, it redirects, and the redirect's Location carries the ticket.
class LITHMAR_EXCHANGE_EXPORT TicketService {
public:
    // Two GETs with the HTTP settings and "Cookie" default header of
    // `configuration`, each on a client of its own with a 20-minute
    // time-out: the services directory at `serviceUrl`
    // (servicesDirectoryUrl()), then the login URL that findLoginUrl() finds
    // there, with redirects returned instead of followed (also a redirect to
    // another host: the ticket must not travel on). Yields
    // ticketFromRedirect() of the login answer; "" when the directory names
    // no login service for the platform, and for a session that is not
    // signed in. A transport failure or an answer of status 400 or more fails
    // the task with ApiException; a directory that is not the expected JSON
    // fails it with cpprestsdk's web::json::json_exception. Throws
    // ApiException 400 without a configuration.
    static pplx::task<std::wstring> getTicket(std::wstring serviceUrl, std::shared_ptr<ApiConfiguration> configuration);

    // The login URL in the directory `directoryText` ({"platforms": [{"id",
    // "services": [{"id", "url"}]}]}) for the platform that hosts
    // `serviceUrl`: the first platform whose id, compared without regard to
    // case, follows "https://" at the very start of `serviceUrl`; in it, the
    // first service with id "sentrowe"; its "url" + "/login?service=GATE".
    // Later platforms are not searched. Without a match, "" for an https
    // service, and `serviceUrl` itself for an "http://" one (a local
    // installation, whose answer then carries no ticket). Throws
    // web::json::json_exception when the text is not such a document.
    static std::wstring findLoginUrl(const std::wstring& serviceUrl, const std::string& directoryText);

    // The ticket in the login answer's Location: everything after its first
    // "=", as it stands. Without "=" (or without Location): "LOCAL_TICKET"
    // when `loginUrl` starts with "http://", otherwise "" (not signed in).
    static std::wstring ticketFromRedirect(const std::wstring& loginUrl, const web::http::http_response& response);

    // The native-handle hook of the login request's client settings. Where
    // the HTTP layer follows redirects on its own request handle (WinHTTP),
    // it switches that off; cpprestsdk's Asio client hands over its socket
    // and never follows redirects itself, so there is nothing to do there:
    // the runtime's own following is off for the login request
    // (max_redirects(0)).
    static void disableRedirects(web::http::client::native_handle handle);
};

} // namespace com::vantorel::lithmar
