#pragma once

#include <tools/local/server/HttpServer.h>
#include <tools/local/session/TicketStore.h>
#include <tools/local/session/UserTable.h>
#include <tools/local/session/WebSessions.h>

#include <string>

namespace lithmar::local {

struct SessionServiceOptions {
    // Platform mode: users sign in, the current user is the session's, the
    // login service hands out tickets. Otherwise a local installation: no
    // sign-in, an empty current-user answer and a directory without a login
    // service, which clients take for "LOCAL_USER" and "LOCAL_TICKET".
    bool platformMode = false;
    // Of the URLs that answers name ("https" when the server speaks TLS).
    std::string scheme = "http";
    // Base paths on the host, each the exchange's with its suffix swapped.
    std::string userBasePath;         // "/lithmar-dash"
    std::string directoryBasePath;    // "/lithmar-dirx"
    std::string loginBasePath;        // "/lithmar-login"
    std::string notificationBasePath; // "/lithmar-gate": where a login for GATE leads
    std::string controlPath;          // "/_control"
};

// The platform's session services, on the host and port of the exchange:
//   GET  <dash>/api/users/current       {"login": user}; local mode: empty body
//   GET  <dirx>/vireon/resources/AppsMngt/api/v1/services
//                                       {"platforms": [...]}; the platform's id
//                                       is the Host the client reached, so a
//                                       client finds its login service by it
// Platform mode only (local mode answers 409 saying so):
//   POST <login>/signin  {"user","password"}  a new signed-in web session
//   POST <login>/signout                      the session is signed out
//   GET  <login>/signin                       401: how to sign in
//   GET  <login>/login?service=GATE  302 to <gate>?ticket=<ticket> for a
//                                    signed-in session, else 302 to the
//                                    sign-in page (a Location without "=")
//   GET  <login>/validate?ticket=T   {"user"}; 404 unknown, 410 expired
//   POST <control>/users {"user","password"}  adds a user or sets a password
class SessionServices {
public:
    SessionServices(SessionServiceOptions options, WebSessions& sessions, UserTable& users, TicketStore& tickets);

    SessionServices(const SessionServices&) = delete;
    SessionServices& operator=(const SessionServices&) = delete;

    // Adds the routes to `server`; the services must outlive it.
    void install(HttpServer& server);

private:
    Response currentUser(const RecordedRequest& request) const;
    Response directory(const RecordedRequest& request) const;
    Response signIn(const RecordedRequest& request);
    Response signOut(const RecordedRequest& request);
    Response signInPage(const RecordedRequest& request) const;
    Response login(const RecordedRequest& request);
    Response validate(const RecordedRequest& request) const;
    Response addUser(const RecordedRequest& request);

    // "<scheme>://<the Host the client reached>"
    std::string origin(const RecordedRequest& request) const;

    const SessionServiceOptions m_options;
    WebSessions& m_sessions;
    UserTable& m_users;
    TicketStore& m_tickets;
};

} // namespace lithmar::local
