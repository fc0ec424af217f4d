#include <lithmar/exchange/fcs/detail/ProgressFileBuffer.h>

#include <stdexcept>

namespace com::vantorel::lithmar::detail {

ProgressFileBuffer::ProgressFileBuffer(Report report, pplx::cancellation_token cancellation)
    : m_report(std::move(report)), m_cancellation(std::move(cancellation))
{
}

std::streamsize ProgressFileBuffer::xsgetn(char_type* buffer, std::streamsize count)
{
    if (m_cancellation.is_canceled()) {
        throw std::runtime_error("the check-in was cancelled");
    }
    const std::streamsize n = std::filebuf::xsgetn(buffer, count);
    if (n > 0) {
        m_position += static_cast<std::uint64_t>(n);
        if (m_report) {
            m_report(m_position);
        }
    }
    return n;
}

ProgressFileBuffer::pos_type ProgressFileBuffer::seekoff(off_type offset, std::ios_base::seekdir way,
                                                         std::ios_base::openmode which)
{
    return moved(std::filebuf::seekoff(offset, way, which));
}

ProgressFileBuffer::pos_type ProgressFileBuffer::seekpos(pos_type position, std::ios_base::openmode which)
{
    return moved(std::filebuf::seekpos(position, which));
}

ProgressFileBuffer::pos_type ProgressFileBuffer::moved(pos_type position)
{
    if (position != pos_type(off_type(-1))) {
        m_position = static_cast<std::uint64_t>(off_type(position));
    }
    return position;
}

} // namespace com::vantorel::lithmar::detail
