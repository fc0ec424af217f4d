#pragma once

#include <stdexcept>

namespace lithmar::local::imports {

// What keeps an import from completing, worded for the user who asked for
// it (which file, which row, what to change): the job ends FAILED with it.
class ImportError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace lithmar::local::imports
