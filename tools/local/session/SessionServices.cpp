#include <tools/local/session/SessionServices.h>

#include <tools/local/common/JsonAnswer.h>

#include <optional>

namespace lithmar::local {
namespace {

constexpr const char* kNotificationService = "GATE";
constexpr const char* kLoginServiceId = "sentrowe";

// The raw value of `name` in a query string. The session services only take
// service names and tickets there, which never need escapes.
std::optional<std::string> queryValue(std::string_view query, std::string_view name)
{
    while (!query.empty()) {
        const auto end = query.find('&');
        const std::string_view pair = query.substr(0, end);
        query = end == std::string_view::npos ? std::string_view() : query.substr(end + 1);
        const auto equals = pair.find('=');
        if (pair.substr(0, equals) == name) {
            return std::string(equals == std::string_view::npos ? std::string_view() : pair.substr(equals + 1));
        }
    }
    return std::nullopt;
}

// {"user": NAME, "password": PASSWORD}; nullopt for anything else.
std::optional<UserCredentials> credentialsIn(const RecordedRequest& request)
{
    const Json body = Json::parse(request.body, nullptr, false);
    if (body.is_discarded() || !body.is_object() || !body.contains("user") || !body.contains("password") ||
        !body["user"].is_string() || !body["password"].is_string()) {
        return std::nullopt;
    }
    return UserCredentials{body["user"].get<std::string>(), body["password"].get<std::string>()};
}

Response badCredentialsBody()
{
    return Response::error(400, "the body must be JSON like {\"user\": \"NAME\", \"password\": \"PASSWORD\"}");
}

Response redirect(const std::string& location)
{
    Response response;
    response.status = 302;
    response.headers.push_back({"Location", location});
    return response;
}

} // namespace

SessionServices::SessionServices(SessionServiceOptions options, WebSessions& sessions, UserTable& users,
                                 TicketStore& tickets)
    : m_options(std::move(options)), m_sessions(sessions), m_users(users), m_tickets(tickets)
{
}

void SessionServices::install(HttpServer& server)
{
    const auto& o = m_options;
    server.route("GET", o.userBasePath + "/api/users/current",
                 [this](const RecordedRequest& r) { return currentUser(r); });
    server.route("GET", o.directoryBasePath + "/vireon/resources/AppsMngt/api/v1/services",
                 [this](const RecordedRequest& r) { return directory(r); });
    server.route("POST", o.loginBasePath + "/signin", [this](const RecordedRequest& r) { return signIn(r); });
    server.route("GET", o.loginBasePath + "/signin", [this](const RecordedRequest& r) { return signInPage(r); });
    server.route("POST", o.loginBasePath + "/signout", [this](const RecordedRequest& r) { return signOut(r); });
    server.route("GET", o.loginBasePath + "/login", [this](const RecordedRequest& r) { return login(r); });
    server.route("GET", o.loginBasePath + "/validate", [this](const RecordedRequest& r) { return validate(r); });
    server.route("POST", o.controlPath + "/users", [this](const RecordedRequest& r) { return addUser(r); });
}

std::string SessionServices::origin(const RecordedRequest& request) const
{
    const std::string host = request.header("Host");
    return m_options.scheme + "://" + (host.empty() ? request.localAddress : host);
}

Response SessionServices::currentUser(const RecordedRequest& request) const
{
    if (!m_options.platformMode) {
        // A local installation has no platform users: the empty answer
        // tells the client so.
        return Response::json(200, "");
    }
    const auto user = m_sessions.userOf(request);
    if (!user) {
        return Response::error(401, "not signed in: sign in with POST " + origin(request) + m_options.loginBasePath +
                                        "/signin (or xchng signin) and send the JSESSIONID cookie it sets");
    }
    return jsonAnswer(200, Json{{"login", *user}});
}

Response SessionServices::directory(const RecordedRequest& request) const
{
    Json platforms = Json::array();
    if (m_options.platformMode) {
        // Clients pick their platform by the start of the URL they called:
        // "https://" followed by the platform's id.
        std::string id = request.header("Host");
        if (id.empty()) {
            id = request.localAddress;
        }
        const Json login{{"id", kLoginServiceId}, {"url", origin(request) + m_options.loginBasePath}};
        platforms.push_back(Json{{"id", id}, {"services", Json::array({login})}});
    }
    return jsonAnswer(200, Json{{"platforms", std::move(platforms)}});
}

Response SessionServices::signIn(const RecordedRequest& request)
{
    if (!m_options.platformMode) {
        return Response::error(409, "lithmar-local runs as a local installation, without sign-in; start it with "
                                    "--platform to have users");
    }
    const auto credentials = credentialsIn(request);
    if (!credentials) {
        return badCredentialsBody();
    }
    if (!m_users.verify(credentials->name, credentials->password)) {
        return Response::error(401, "unknown user or wrong password");
    }
    Response response = jsonAnswer(200, Json{{"login", credentials->name}});
    for (Header& cookie : m_sessions.cookieHeaders(m_sessions.signIn(credentials->name))) {
        response.headers.push_back(std::move(cookie));
    }
    return response;
}

Response SessionServices::signOut(const RecordedRequest& request)
{
    const bool wasSignedIn = m_sessions.signOut(request);
    return jsonAnswer(200, Json{{"signedOut", wasSignedIn}});
}

Response SessionServices::signInPage(const RecordedRequest& request) const
{
    return Response::error(401, "sign in with POST " + origin(request) + m_options.loginBasePath +
                                    "/signin and the JSON body {\"user\": \"NAME\", \"password\": \"PASSWORD\"} "
                                    "(or xchng signin)");
}

Response SessionServices::login(const RecordedRequest& request)
{
    if (!m_options.platformMode) {
        return Response::error(409, "lithmar-local runs as a local installation, without login tickets; start it "
                                    "with --platform to have them");
    }
    const auto service = queryValue(request.query, "service");
    if (service != std::optional<std::string>(kNotificationService)) {
        return Response::error(400, std::string("the login service logs in to the service ") + kNotificationService +
                                        " only: ask for " + m_options.loginBasePath +
                                        "/login?service=" + kNotificationService);
    }
    const auto user = m_sessions.userOf(request);
    if (!user) {
        // No "=" in this Location: a client reading a ticket out of the
        // redirect finds none.
        return redirect(origin(request) + m_options.loginBasePath + "/signin");
    }
    return redirect(origin(request) + m_options.notificationBasePath + "?ticket=" + m_tickets.issue(*user));
}

Response SessionServices::validate(const RecordedRequest& request) const
{
    const auto ticket = queryValue(request.query, "ticket");
    if (!ticket || ticket->empty()) {
        return Response::error(400, "name the ticket to check: " + m_options.loginBasePath + "/validate?ticket=...");
    }
    const TicketStore::Lookup known = m_tickets.lookup(*ticket);
    switch (known.state) {
    case TicketStore::State::Valid:
        return jsonAnswer(200, Json{{"user", known.user}});
    case TicketStore::State::Expired:
        return Response::error(410, "the ticket has expired: ask the login service for a new one");
    case TicketStore::State::Unknown:
        break;
    }
    return Response::error(404, "no such ticket: it was never issued, or expired long ago");
}

Response SessionServices::addUser(const RecordedRequest& request)
{
    if (!m_options.platformMode) {
        return Response::error(409, "lithmar-local runs as a local installation, without users; start it with "
                                    "--platform to have them");
    }
    const auto credentials = credentialsIn(request);
    if (!credentials) {
        return badCredentialsBody();
    }
    try {
        const bool added = m_users.add(*credentials);
        return jsonAnswer(added ? 201 : 200, Json{{"user", credentials->name}, {"added", added}});
    } catch (const std::invalid_argument& refused) {
        return Response::error(400, refused.what());
    }
}

} // namespace lithmar::local
