#pragma once

#include <pplx/pplxtasks.h>

#include <cstdint>
#include <fstream>
#include <functional>

namespace com::vantorel::lithmar::detail {

// A file buffer that tells how far the file has been read: the multipart
// body pulls the file through sgetn() in chunks as it goes to the socket, so
// the read position is the number of bytes handed to the connection. A seek
// (the body measuring the file, or starting over for a new attempt) moves the
// count with it. Once `cancellation` is cancelled, reads throw, which aborts
// the request that is pulling the file.
class ProgressFileBuffer final : public std::filebuf {
public:
    using Report = std::function<void(std::uint64_t position)>;

    ProgressFileBuffer(Report report, pplx::cancellation_token cancellation);

protected:
    std::streamsize xsgetn(char_type* buffer, std::streamsize count) override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir way, std::ios_base::openmode which) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override;

private:
    pos_type moved(pos_type position);

    Report m_report;
    pplx::cancellation_token m_cancellation;
    std::uint64_t m_position = 0;
};

} // namespace com::vantorel::lithmar::detail
