#include "SessionCommands.h"

#include "SessionFile.h"

#include <lithmar/exchange/session/ServiceUrls.h>
#include <lithmar/exchange/session/TicketService.h>
#include <lithmar/exchange/session/UserNameService.h>
#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/JsonBody.h>
#include <lithmar/runtime/Utf8.h>

#include <termios.h>
#include <unistd.h>

#include <iostream>
#include <sstream>
#include <stdexcept>

namespace lithmar::xchng {
namespace {

namespace lithmar = com::vantorel::lithmar;
namespace api = lithmar::exploration::api;
using lithmar::fromUtf8;
using lithmar::toUtf8;

const std::string kLoginPath = "/login?service=GATE";

// POST or GET `url` itself with the connection's settings; answers of status
// 400 or more become ApiException with the server's message.
web::http::http_response call(const Connection& connection, const std::string& url, const std::wstring& method,
                              std::shared_ptr<lithmar::IHttpBody> body = nullptr)
{
    auto configuration = configure(connection);
    configuration->setBaseUrl(fromUtf8(url));
    lithmar::ApiClient client(configuration);
    auto headers = configuration->getDefaultHeaders();
    headers[L"Content-Type"] = L"application/json";
    auto response =
        client.callApiAndRetryOnError(L"", method, {}, body, headers, {}, {}, L"application/json").get();
    if (response.status_code() >= 400) {
        const std::string text = response.extract_utf8string(true).get();
        throw lithmar::ApiException(response.status_code(), fromUtf8(url + ": " + response.reason_phrase()),
                                    std::make_shared<std::istringstream>(text));
    }
    return response;
}

// The platform's login service for the connection's data exchange service,
// as the services directory names it: "https://.../lithmar-login".
std::string loginServiceUrl(const Connection& connection)
{
    const std::string directory = toUtf8(api::servicesDirectoryUrl({}, connection.url));
    const std::string text = call(connection, directory, L"GET").extract_utf8string(true).get();
    const std::string login = toUtf8(lithmar::TicketService::findLoginUrl(fromUtf8(directory), text));
    if (login.size() <= kLoginPath.size() || login.compare(login.size() - kLoginPath.size(), kLoginPath.size(),
                                                           kLoginPath) != 0) {
        throw std::invalid_argument("the service at " + connection.url +
                                    " has no sign-in: it is a local installation (lithmar-local without "
                                    "--platform, say), where every command acts for LOCAL_USER");
    }
    return login.substr(0, login.size() - kLoginPath.size());
}

// "JSESSIONID=...;SERVERID=..." from the Set-Cookie lines of an answer (the
// HTTP layer joins them with ", "; the platform's cookies carry no dates).
std::string sessionCookieOf(const web::http::http_response& response)
{
    const auto found = response.headers().find("Set-Cookie");
    std::string cookie;
    if (found == response.headers().end()) {
        return cookie;
    }
    const std::string& lines = found->second;
    for (std::size_t start = 0; start < lines.size();) {
        const std::size_t end = std::min(lines.find(", ", start), lines.size());
        const std::string line = lines.substr(start, end - start);
        const std::string piece = line.substr(0, line.find(';'));
        if (piece.rfind("JSESSIONID=", 0) == 0 || piece.rfind("SERVERID=", 0) == 0) {
            cookie += (cookie.empty() ? "" : ";") + piece;
        }
        start = end + 2;
    }
    return cookie;
}

std::string ask(std::istream& in, std::ostream& out, const char* prompt, bool secret)
{
    out << prompt << std::flush;
    // Typed passwords are not shown; a password piped in is read as it is.
    const bool hideEcho = secret && &in == &std::cin && ::isatty(STDIN_FILENO);
    termios saved{};
    if (hideEcho && ::tcgetattr(STDIN_FILENO, &saved) == 0) {
        termios quiet = saved;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
    }
    std::string answer;
    const bool read = static_cast<bool>(std::getline(in, answer));
    if (hideEcho) {
        ::tcsetattr(STDIN_FILENO, TCSANOW, &saved);
        out << '\n';
    }
    if (!read) {
        throw std::invalid_argument(std::string("no ") + (secret ? "password" : "user name") +
                                    " given: pass --user and --password, or type them when asked");
    }
    return answer;
}

} // namespace

void signIn(const Connection& connection, SignInRequest request, std::istream& in, Output output)
{
    const std::string login = loginServiceUrl(connection);
    const std::string user = request.user ? *request.user : ask(in, output.out, "user: ", false);
    const std::string password = request.password ? *request.password : ask(in, output.out, "password: ", true);
    web::json::value body = web::json::value::object();
    body["user"] = web::json::value::string(user);
    body["password"] = web::json::value::string(password);
    const auto response = call(connection, login + "/signin", L"POST", std::make_shared<lithmar::JsonBody>(body));
    const std::string cookie = sessionCookieOf(response);
    if (cookie.find("JSESSIONID=") == std::string::npos) {
        throw std::runtime_error("the login service at " + login + " accepted the sign-in but sent no session cookie");
    }
    SessionFile sessions;
    sessions.store(connection.url, cookie);
    if (output.json) {
        output.out << R"({"user":)" << web::json::value::string(user).serialize() << "}\n";
        return;
    }
    output.out << "signed in as " << user << "; the session is kept in " << sessions.path().string() << '\n';
}

void signOut(const Connection& connection, Output output)
{
    SessionFile sessions;
    if (!sessions.cookieFor(connection.url)) {
        output.out << "no session kept for " << connection.url << '\n';
        return;
    }
    call(connection, loginServiceUrl(connection) + "/signout", L"POST");
    sessions.store(connection.url, std::nullopt);
    output.out << "signed out of " << connection.url << '\n';
}

void whoAmI(const Connection& connection, bool ticket, Output output)
{
    auto configuration = configure(connection);
    const std::wstring user = lithmar::UserNameService::getUser(api::userServiceUrl({}, connection.url), configuration).get();
    if (user.empty()) {
        throw lithmar::ApiException(401, L"the platform did not say who you are; sign in with `xchng signin`");
    }
    std::wstring loginTicket;
    if (ticket) {
        loginTicket =
            lithmar::TicketService::getTicket(api::servicesDirectoryUrl({}, connection.url), configuration).get();
        if (loginTicket.empty()) {
            throw lithmar::ApiException(401, L"no login ticket: the session is not signed in; run `xchng signin`");
        }
    }
    if (output.json) {
        web::json::value answer = web::json::value::object();
        answer["user"] = web::json::value::string(toUtf8(user));
        if (ticket) {
            answer["ticket"] = web::json::value::string(toUtf8(loginTicket));
        }
        output.out << answer.serialize() << '\n';
        return;
    }
    output.out << toUtf8(user) << '\n';
    if (ticket) {
        output.out << toUtf8(loginTicket) << '\n';
    }
}

} // namespace lithmar::xchng
