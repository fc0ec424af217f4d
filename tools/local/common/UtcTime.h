#pragma once

#include <string>

namespace lithmar::local {

// The current time as ISO 8601 UTC text with seconds: "2024-05-01T09:30:12Z",
// the form of every date the service stores and answers.
std::string utcNow();

} // namespace lithmar::local
