#pragma once

#include <lithmar/runtime/IHttpBody.h>

#include <cpprest/astreambuf.h>
#include <cpprest/streams.h>

#include <memory>

namespace com::vantorel::lithmar::detail {

// Presents an IHttpBody to cpprestsdk as a read-only asynchronous stream. The
// HTTP client pulls chunks with getn(); each chunk is produced on demand by the
// body's reader, so nothing but the current chunk is in memory. Seeking back
// to the start opens a fresh reader, which lets cpprestsdk replay the body
// when it reconnects a pooled connection that the server had closed.
class BodyStreamBuffer final : public Concurrency::streams::details::streambuf_state_manager<uint8_t> {
public:
    using base = Concurrency::streams::details::streambuf_state_manager<uint8_t>;
    using typename base::int_type;
    using typename base::off_type;
    using typename base::pos_type;
    using typename base::traits;

    explicit BodyStreamBuffer(std::shared_ptr<IHttpBody> body);

    // Opens the stream; returns the reader's total size through `size` when known.
    static Concurrency::streams::istream open(std::shared_ptr<IHttpBody> body, std::optional<std::uint64_t>& size);

    bool can_seek() const override { return true; }
    bool has_size() const override { return m_size.has_value(); }
    utility::size64_t size() const override { return m_size.value_or(0); }
    size_t buffer_size(std::ios_base::openmode) const override { return 0; }
    void set_buffer_size(size_t, std::ios_base::openmode) override {}
    size_t in_avail() const override { return m_hasPeek ? 1 : 0; }
    pos_type getpos(std::ios_base::openmode direction) const override;
    pos_type seekpos(pos_type position, std::ios_base::openmode direction) override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir way, std::ios_base::openmode direction) override;
    bool acquire(uint8_t*& ptr, size_t& count) override;
    void release(uint8_t*, size_t) override {}

protected:
    pplx::task<int_type> _putc(uint8_t) override;
    pplx::task<size_t> _putn(const uint8_t*, size_t) override;
    pplx::task<int_type> _bumpc() override;
    int_type _sbumpc() override;
    pplx::task<int_type> _getc() override;
    int_type _sgetc() override;
    pplx::task<int_type> _nextc() override;
    pplx::task<int_type> _ungetc() override;
    pplx::task<size_t> _getn(uint8_t* ptr, size_t count) override;
    size_t _scopy(uint8_t*, size_t) override { return 0; }
    pplx::task<bool> _sync() override;
    uint8_t* _alloc(size_t) override { return nullptr; }
    void _commit(size_t) override {}

private:
    void restart();
    size_t readInto(uint8_t* ptr, size_t count);
    int_type peek();

    std::shared_ptr<IHttpBody> m_body;
    std::unique_ptr<BodyReader> m_reader;
    std::optional<std::uint64_t> m_size;
    std::uint64_t m_position = 0;
    bool m_hasPeek = false;
    uint8_t m_peek = 0;
};

} // namespace com::vantorel::lithmar::detail
