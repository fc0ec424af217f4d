#pragma once

#include <ostream>

namespace lithmar::xchng {

// Where a command prints, and whether it prints the service's JSON instead
// of text for people.
struct Output {
    std::ostream& out;
    bool json = false;
};

} // namespace lithmar::xchng
