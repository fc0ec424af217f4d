#include <lithmar/runtime/detail/BodyStreamBuffer.h>

namespace com::vantorel::lithmar::detail {

BodyStreamBuffer::BodyStreamBuffer(std::shared_ptr<IHttpBody> body) : base(std::ios_base::in), m_body(std::move(body))
{
    restart();
}

Concurrency::streams::istream BodyStreamBuffer::open(std::shared_ptr<IHttpBody> body,
                                                     std::optional<std::uint64_t>& size)
{
    auto buffer = std::make_shared<BodyStreamBuffer>(std::move(body));
    size = buffer->m_size;
    return Concurrency::streams::streambuf<uint8_t>(buffer).create_istream();
}

void BodyStreamBuffer::restart()
{
    m_reader = m_body->openReader();
    m_size = m_reader->size();
    m_position = 0;
    m_hasPeek = false;
}

size_t BodyStreamBuffer::readInto(uint8_t* ptr, size_t count)
{
    size_t filled = 0;
    if (m_hasPeek && count > 0) {
        ptr[filled++] = m_peek;
        m_hasPeek = false;
    }
    while (filled < count) {
        const size_t n = m_reader->read(reinterpret_cast<char*>(ptr + filled), count - filled);
        if (n == 0) {
            break;
        }
        filled += n;
    }
    m_position += filled;
    return filled;
}

BodyStreamBuffer::int_type BodyStreamBuffer::peek()
{
    if (!m_hasPeek) {
        char c = 0;
        if (m_reader->read(&c, 1) == 0) {
            return traits::eof();
        }
        m_peek = static_cast<uint8_t>(c);
        m_hasPeek = true;
    }
    return static_cast<int_type>(m_peek);
}

BodyStreamBuffer::pos_type BodyStreamBuffer::getpos(std::ios_base::openmode direction) const
{
    return direction == std::ios_base::in ? pos_type(static_cast<off_type>(m_position)) : pos_type(traits::eof());
}

BodyStreamBuffer::pos_type BodyStreamBuffer::seekpos(pos_type position, std::ios_base::openmode direction)
{
    if (direction != std::ios_base::in) {
        return pos_type(traits::eof());
    }
    if (position == pos_type(static_cast<off_type>(m_position))) {
        return position;
    }
    if (position == pos_type(0)) {
        restart();
        return position;
    }
    return pos_type(traits::eof());
}

BodyStreamBuffer::pos_type BodyStreamBuffer::seekoff(off_type offset, std::ios_base::seekdir way,
                                                     std::ios_base::openmode direction)
{
    if (way == std::ios_base::beg) {
        return seekpos(pos_type(offset), direction);
    }
    if (way == std::ios_base::cur && offset == 0) {
        return getpos(direction);
    }
    return pos_type(traits::eof());
}

bool BodyStreamBuffer::acquire(uint8_t*& ptr, size_t& count)
{
    ptr = nullptr;
    count = 0;
    return false;
}

pplx::task<BodyStreamBuffer::int_type> BodyStreamBuffer::_putc(uint8_t)
{
    return pplx::task_from_result<int_type>(traits::eof());
}

pplx::task<size_t> BodyStreamBuffer::_putn(const uint8_t*, size_t)
{
    return pplx::task_from_result<size_t>(0);
}

BodyStreamBuffer::int_type BodyStreamBuffer::_sbumpc()
{
    const int_type c = peek();
    if (c != traits::eof()) {
        m_hasPeek = false;
        ++m_position;
    }
    return c;
}

pplx::task<BodyStreamBuffer::int_type> BodyStreamBuffer::_bumpc()
{
    try {
        return pplx::task_from_result<int_type>(_sbumpc());
    } catch (...) {
        return pplx::task_from_exception<int_type>(std::current_exception());
    }
}

BodyStreamBuffer::int_type BodyStreamBuffer::_sgetc()
{
    return peek();
}

pplx::task<BodyStreamBuffer::int_type> BodyStreamBuffer::_getc()
{
    try {
        return pplx::task_from_result<int_type>(peek());
    } catch (...) {
        return pplx::task_from_exception<int_type>(std::current_exception());
    }
}

pplx::task<BodyStreamBuffer::int_type> BodyStreamBuffer::_nextc()
{
    try {
        _sbumpc();
        return pplx::task_from_result<int_type>(peek());
    } catch (...) {
        return pplx::task_from_exception<int_type>(std::current_exception());
    }
}

pplx::task<BodyStreamBuffer::int_type> BodyStreamBuffer::_ungetc()
{
    return pplx::task_from_result<int_type>(traits::eof());
}

pplx::task<size_t> BodyStreamBuffer::_getn(uint8_t* ptr, size_t count)
{
    // The reader works synchronously (files and memory), so the chunk is ready
    // by the time the task is returned.
    try {
        return pplx::task_from_result<size_t>(readInto(ptr, count));
    } catch (...) {
        return pplx::task_from_exception<size_t>(std::current_exception());
    }
}

pplx::task<bool> BodyStreamBuffer::_sync()
{
    return pplx::task_from_result(true);
}

} // namespace com::vantorel::lithmar::detail
