#pragma once

#include <tools/local/server/BodyRecorder.h>

#include <boost/asio/buffer.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/optional.hpp>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace lithmar::local::detail {

// A Beast body type that hands every body byte to a BodyRecorder straight
// from the connection's read buffer: the body is never copied into a message
// and never held in memory, whatever its size.
struct StreamedBody {
    struct value_type {
        BodyRecorder* recorder = nullptr; // set once the request headers are in
        // The reader stops with http::error::body_limit after this many
        // bytes: a connection scripted to drop mid-body. (The parser's own
        // body limit is off, so the error means only this.)
        std::uint64_t cutOffAfter = std::numeric_limits<std::uint64_t>::max();
    };

    class reader {
    public:
        template <bool isRequest, class Fields>
        reader(boost::beast::http::header<isRequest, Fields>&, value_type& body) : m_body(body)
        {
        }

        void init(const boost::optional<std::uint64_t>&, boost::beast::error_code& ec) { ec = {}; }

        template <class ConstBufferSequence>
        std::size_t put(const ConstBufferSequence& buffers, boost::beast::error_code& ec)
        {
            std::size_t used = 0;
            for (auto it = boost::asio::buffer_sequence_begin(buffers); it != boost::asio::buffer_sequence_end(buffers);
                 ++it) {
                const boost::asio::const_buffer buffer = *it;
                const std::size_t taken =
                    static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), m_body.cutOffAfter - m_read));
                m_body.recorder->consume({static_cast<const char*>(buffer.data()), taken});
                used += taken;
                m_read += taken;
                if (taken < buffer.size()) {
                    ec = boost::beast::http::error::body_limit;
                    return used;
                }
            }
            ec = {};
            return used;
        }

        void finish(boost::beast::error_code& ec) { ec = {}; }

    private:
        value_type& m_body;
        std::uint64_t m_read = 0;
    };
};

} // namespace lithmar::local::detail
