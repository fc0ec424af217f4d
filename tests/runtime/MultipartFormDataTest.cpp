#include <lithmar/runtime/ModelBase.h>
#include <lithmar/runtime/MultipartFormData.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace lithmar = com::vantorel::lithmar;

namespace {

std::string written(lithmar::MultipartFormData& form)
{
    std::ostringstream out;
    form.writeTo(out);
    return out.str();
}

std::string readAll(lithmar::BodyReader& reader, std::size_t chunk)
{
    std::string body;
    std::string buffer(chunk, '\0');
    while (const std::size_t n = reader.read(buffer.data(), buffer.size())) {
        body.append(buffer.data(), n);
    }
    return body;
}

std::shared_ptr<lithmar::HttpContent> filePart(const std::wstring& name, std::shared_ptr<std::istream> data)
{
    auto part = std::make_shared<lithmar::HttpContent>();
    part->setName(name);
    part->setFileName(L"C:\\data\\g\u00e9o \"1\".csv");
    part->setContentType(L"application/octet-stream");
    part->setData(std::move(data));
    return part;
}

TEST(MultipartFormData, WritesPartsInOrderWithTheirHeaders)
{
    lithmar::MultipartFormData form(L"XyZ");
    form.add(lithmar::ModelBase::toHttpContent(L"__fcs__jobTicket", L"t-1"));
    form.add(lithmar::ModelBase::toHttpContent(L"body.fcsStreamIds", web::json::value::parse("[\"a\"]")));
    form.add(filePart(L"my-upload", std::make_shared<std::istringstream>("x,y\n1,2\n")));

    EXPECT_EQ(written(form), "--XyZ\r\n"
                             "Content-Disposition: form-data; name=\"__fcs__jobTicket\"\r\n"
                             "\r\n"
                             "t-1\r\n"
                             "--XyZ\r\n"
                             "Content-Disposition: form-data; name=\"body.fcsStreamIds\"\r\n"
                             "Content-Type: application/json\r\n"
                             "\r\n"
                             "[\"a\"]\r\n"
                             "--XyZ\r\n"
                             "Content-Disposition: form-data; name=\"my-upload\"; "
                             "filename=\"C:\\data\\g\xc3\xa9o %221%22.csv\"\r\n"
                             "Content-Type: application/octet-stream\r\n"
                             "\r\n"
                             "x,y\n1,2\n\r\n"
                             "--XyZ--\r\n");
}

TEST(MultipartFormData, ReaderProducesTheSameBytesAsWriteToWithTheirSize)
{
    lithmar::MultipartFormData form;
    form.add(lithmar::ModelBase::toHttpContent(L"name", L"\u5730\u8cea"));
    form.add(lithmar::ModelBase::toHttpContent(L"empty", L""));
    form.add(filePart(L"file", std::make_shared<std::istringstream>(std::string(100000, 'z'))));
    const std::string expected = written(form);

    for (std::size_t chunk : {1u, 7u, 4096u, 1u << 20}) {
        auto reader = form.openReader();
        ASSERT_TRUE(reader->size().has_value());
        EXPECT_EQ(*reader->size(), expected.size());
        EXPECT_EQ(readAll(*reader, chunk), expected) << "chunk " << chunk;
    }
}

TEST(MultipartFormData, EveryReaderStartsAgainFromTheStartOfEachPart)
{
    auto data = std::make_shared<std::istringstream>("prefix|payload");
    data->seekg(7); // the part's data starts where the stream stood when it was handed over
    lithmar::MultipartFormData form(L"b");
    form.add(filePart(L"f", data));

    auto first = form.openReader();
    const std::string once = readAll(*first, 5);
    auto second = form.openReader();
    EXPECT_EQ(readAll(*second, 64), once);
    EXPECT_NE(once.find("\r\n\r\npayload\r\n--b--"), std::string::npos);
    EXPECT_EQ(lithmar::ModelBase::stringFromHttpContent(form.getContent(L"f")), L"payload");
}

// A stream that cannot seek, like a pipe.
class OneWayBuffer : public std::streambuf {
public:
    explicit OneWayBuffer(std::string text) : m_text(std::move(text)) { setg(m_text.data(), m_text.data(), m_text.data() + m_text.size()); }

private:
    std::string m_text;
};

TEST(MultipartFormData, UnseekablePartHasNoSizeAndCannotBeSentTwice)
{
    auto buffer = std::make_shared<OneWayBuffer>("streamed");
    auto stream = std::shared_ptr<std::istream>(new std::istream(buffer.get()), [buffer](std::istream* s) { delete s; });
    lithmar::MultipartFormData form(L"b");
    form.add(filePart(L"f", stream));

    auto reader = form.openReader();
    EXPECT_FALSE(reader->size().has_value());
    EXPECT_NE(readAll(*reader, 3).find("streamed"), std::string::npos);
    auto again = form.openReader();
    try {
        readAll(*again, 1024);
        FAIL() << "a consumed one-way stream was sent again";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("'f' cannot be sent again"), std::string::npos) << error.what();
    }
}

TEST(MultipartFormData, StreamsAFileFromDisk)
{
    const std::string path = testing::TempDir() + "multipart-file.bin";
    std::string content(3 * 1024 * 1024 + 17, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<char>(i * 31 % 251);
    }
    std::ofstream(path, std::ios::binary).write(content.data(), static_cast<std::streamsize>(content.size()));

    lithmar::MultipartFormData form(L"bnd");
    form.add(filePart(L"my-upload", std::make_shared<std::ifstream>(path, std::ios::binary)));
    auto reader = form.openReader();
    const std::string body = readAll(*reader, 1 << 20);
    EXPECT_EQ(body.size(), *reader->size());
    EXPECT_NE(body.find("\r\n\r\n" + content + "\r\n--bnd--\r\n"), std::string::npos);
    std::remove(path.c_str());
}

TEST(MultipartFormData, FindsPartsByNameAndKeepsDuplicatesInOrder)
{
    lithmar::MultipartFormData form(L"b");
    form.add(lithmar::ModelBase::toHttpContent(L"k", L"first"));
    form.add(lithmar::ModelBase::toHttpContent(L"k", L"second"));
    EXPECT_TRUE(form.hasContent(L"k"));
    EXPECT_FALSE(form.hasContent(L"K"));
    EXPECT_EQ(form.getContent(L"missing"), nullptr);
    EXPECT_EQ(lithmar::ModelBase::stringFromHttpContent(form.getContent(L"k")), L"first");
    const std::string body = written(form);
    EXPECT_LT(body.find("first"), body.find("second"));
}

TEST(MultipartFormData, BoundariesAreRandom)
{
    EXPECT_NE(lithmar::MultipartFormData().getBoundary(), lithmar::MultipartFormData().getBoundary());
    EXPECT_GE(lithmar::MultipartFormData().getBoundary().size(), 32u);
}

} // namespace
