#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace lithmar::local {

struct Header {
    std::string name;
    std::string value;
};

// One part of a multipart/form-data request body, taken apart while the body
// streams in: only the first bytes of the data are kept, the rest is counted
// and checksummed so that gigabyte files can be checked without storing them.
struct FormPart {
    std::string name;        // from Content-Disposition
    std::string fileName;    // from Content-Disposition; "" when absent
    std::string contentType; // the part's Content-Type value; "" when absent
    std::vector<Header> headers;
    std::string data;           // the first bodyMemoryLimit bytes of the data
    std::uint64_t size = 0;     // the full size of the data
    std::uint64_t checksum = 0; // Checksum (XXH64) of all the data
    // The file holding the data when the route stored the part (see
    // PartSink); `data` is empty then. The server deletes the file once the
    // request is answered: a handler keeps it by moving it elsewhere.
    std::string storedAt;
};

// What the server received, as the handler and the test see it. Nothing is
// decoded or normalised, so that tests see exactly what the client sent.
struct RecordedRequest {
    std::string method;
    std::string target;          // the raw request-target
    std::string path;            // target before the first '?'
    std::string query;           // target after the first '?', without it
    std::vector<Header> headers; // in arrival order, duplicates kept

    // Case-insensitive; "" when absent; repeated headers joined with ", ".
    std::string header(std::string_view name) const;
    bool hasHeader(std::string_view name) const;

    std::string body;               // the first bodyMemoryLimit bytes
    std::uint64_t bodySize = 0;     // all bytes received (after de-chunking)
    bool bodyTruncated = false;     // body holds fewer than bodySize bytes
    std::uint64_t bodyChecksum = 0; // Checksum (XXH64) of all body bytes

    // Filled when the Content-Type is multipart/form-data.
    std::vector<FormPart> parts;
    // Non-empty when the body claimed to be multipart but was malformed.
    std::string multipartError;

    // Path parameters captured by the route that answered.
    std::map<std::string, std::string> params;

    // False when the body was not read to its end: the client dropped the
    // connection mid-body, or a fault closed it before the body was read.
    bool complete = true;

    std::string localAddress;  // "127.0.0.1:8080": the address the client reached
    std::string remoteAddress; // "127.0.0.1:53422"
    // Serial number of the connection (1 for the first one accepted): tells
    // which requests shared a keep-alive connection.
    std::uint64_t connection = 0;
};

} // namespace lithmar::local
