#pragma once

#include <tools/local/common/JsonAnswer.h>
#include <tools/local/exchange/SiteStore.h>

#include <vector>

namespace lithmar::local {

// A site's tree as the service answers it: {"type":"Site", "id", "name",
// "modificationDate", "children":[...]}, each node with the keys of its kind
// (all values strings) and container kinds with "children", possibly empty.
Json siteTree(const SiteRecord& site, const std::vector<SiteObject>& objects);

// One node of `objects` with everything below it.
Json objectTree(const SiteObject& root, const std::vector<SiteObject>& objects);

} // namespace lithmar::local
