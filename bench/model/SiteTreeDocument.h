#pragma once

#include <cstddef>
#include <string>

namespace lithmar_bench {

// The JSON text of a GetSiteResult whose site tree holds `children` entries
// of every kind, cycling through them; one entry in ten carries a short list
// of its own children. Names are partly non-ASCII. The text is the same for
// the same count.
std::string siteTreeDocument(std::size_t children);

} // namespace lithmar_bench
