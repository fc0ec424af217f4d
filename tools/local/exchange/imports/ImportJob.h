#pragma once

#include <tools/local/exchange/ExchangeStore.h>
#include <tools/local/exchange/TrackingNumbers.h>
#include <tools/local/exchange/imports/SourceFile.h>

#include <string>

namespace lithmar::local::imports {

// Carries out one RUNNING job: reads its files, then writes the import and
// the job's end (DONE) in one transaction. When the import cannot be done
// (a file it cannot read, an unknown stream, a site deleted meanwhile, a
// platform fault) nothing of it is written and the job ends FAILED.
// Returns the job's result (JSON text): the fields of the upload result of
// its kind, with the job id, as the notification to the user carries it.
// Throws only when the database cannot record the job's end.
std::string carryOut(const JobRecord& job, ExchangeStore& store, const StoredFileLookup& storedFile,
                     TrackingNumbers& trackingNumbers);

// "SUCCESS", or "FAILED: " and what went wrong.
inline constexpr const char* kImportSucceeded = "SUCCESS";
inline constexpr const char* kImportFailedPrefix = "FAILED: ";

} // namespace lithmar::local::imports
