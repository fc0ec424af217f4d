#pragma once

#include "Connection.h"
#include "Output.h"

#include <optional>
#include <string>

namespace lithmar::xchng {

struct SignInRequest {
    std::optional<std::string> user;     // asked for when absent
    std::optional<std::string> password; // asked for when absent (no echo on a terminal)
};

// Signs in to the platform that hosts the service (its login service, found
// through the services directory) and keeps the session cookie in the
// session file for the commands that follow.
void signIn(const Connection& connection, SignInRequest request, std::istream& in, Output output);
// Ends the kept session at the platform and forgets it.
void signOut(const Connection& connection, Output output);
// Prints the user the session acts for and, with `ticket`, a fresh login
// ticket.
void whoAmI(const Connection& connection, bool ticket, Output output);

} // namespace lithmar::xchng
