#pragma once

#include <tools/local/server/BodyRecorder.h>

#include <boost/asio/buffer.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/optional.hpp>

#include <cstdint>

namespace lithmar::local::detail {

// A Beast body type that hands every body byte to a BodyRecorder straight
// from the connection's read buffer: the body is never copied into a message
// and never held in memory, whatever its size.
struct StreamedBody {
    struct value_type {
        BodyRecorder* recorder = nullptr; // set once the request headers are in
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
                m_body.recorder->consume({static_cast<const char*>(buffer.data()), buffer.size()});
                used += buffer.size();
            }
            ec = {};
            return used;
        }

        void finish(boost::beast::error_code& ec) { ec = {}; }

    private:
        value_type& m_body;
    };
};

} // namespace lithmar::local::detail
