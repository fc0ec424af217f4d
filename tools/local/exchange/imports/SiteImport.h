#pragma once

#include <tools/local/exchange/JobStore.h>
#include <tools/local/exchange/SiteStore.h>
#include <tools/local/exchange/imports/SourceFile.h>

#include <functional>
#include <string>
#include <vector>

namespace lithmar::local::imports {

// What a job's command asks for, read back from the text the import
// endpoint checked and stored.
struct ImportCommand {
    std::string kind; // JobRecord::kind
    std::string siteId;
    std::string name;
    std::string crs;        // "" for the site's
    std::string existingId; // the object to add to or replace, "" for a new one
    std::vector<std::string> streamIds;
};

// Throws ImportError when the stored text is not a command.
ImportCommand importCommandOf(const JobRecord& job);

// Where an import writes: the site, in the job's transaction.
struct ImportTarget {
    SiteStore::Edit& site;
    SiteRecord record;
    std::string crs; // the command's, or the site's
    std::string now;
};

// What the job's result tells the client; "" for what an import kind does
// not report.
struct ImportOutcome {
    std::string count;
    std::string id;
    std::string modificationDate;
    std::string size;
    std::string timing;
};

// An import whose files are read and checked; it writes them when called.
// Reading comes first and outside the database's lock, so that a large file
// does not hold up the platform's other requests.
using SiteWrite = std::function<ImportOutcome(ImportTarget&)>;

// One per kind. Each throws ImportError for files it cannot take, and its
// write throws ImportError for what the site's content rules out.
SiteWrite prepareBoreholes(const ImportCommand& command, const std::vector<SourceFile>& files);
SiteWrite prepareIntervalSet(const ImportCommand& command, const std::vector<SourceFile>& files);
SiteWrite prepareFieldObservations(const ImportCommand& command, const std::vector<SourceFile>& files);
SiteWrite prepareGeologicModel(const ImportCommand& command, const std::vector<SourceFile>& files);
SiteWrite prepareTerrain(const ImportCommand& command, const std::vector<SourceFile>& files);

// Helpers the kinds share.
// A new object id: `prefix` and random hex ("ter-3f9a...").
std::string newObjectId(const char* prefix);
// The first top-level object of `kind`, created with `name` when missing.
SiteObject topLevelContainer(ImportTarget& target, const char* kind, const char* idPrefix, const char* name);
// The existing object the command names, of `kind`; ImportError when it is
// gone (deleted after the import was accepted).
SiteObject existingObject(ImportTarget& target, const std::string& id, const char* kind, const char* what);
// Bytes of all the files, as the result's "size".
std::string totalSize(const std::vector<SourceFile>& files);

} // namespace lithmar::local::imports
