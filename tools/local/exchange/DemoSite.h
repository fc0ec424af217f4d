#pragma once

#include <tools/local/exchange/SiteStore.h>

namespace lithmar::local {

// The site a fresh platform starts with, so that a developer sees a tree at
// once: a geologic model with two feature collections, point samples, a
// static structure, boreholes and a terrain. Its ids are fixed ("site-demo",
// "gm-demo"...) so that tests and docs can name them.
inline constexpr const char* kDemoSiteId = "site-demo";
inline constexpr const char* kDemoModelId = "gm-demo";
inline constexpr const char* kDemoFeatureId = "feat-demo-sand";

// Adds the demo site unless the database has it already (a restarted
// platform with a data directory).
void addDemoSiteIfMissing(SiteStore& sites);

} // namespace lithmar::local
