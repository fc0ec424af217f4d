#pragma once

#include <lithmar/exchange/api/DataExchangeApi.h>
#include <lithmar/exchange/fcs/FcsService.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/exchange/LocalPlatform.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace lithmar::fcs::testing {

namespace sdk = com::vantorel::lithmar;
namespace model = sdk::exploration::model;

// A local platform with an upload session's slots, and a scratch directory
// for the files to check in.
class CheckinTest : public ::testing::Test {
protected:
    CheckinTest()
    {
        platform.start();
        auto configuration = std::make_shared<sdk::ApiConfiguration>();
        configuration->setBaseUrl(sdk::fromUtf8(platform.exchangeUrl()));
        exchange =
            std::make_unique<sdk::exploration::api::DataExchangeApi>(std::make_shared<sdk::ApiClient>(configuration));
        scratch = std::filesystem::temp_directory_path() /
                  ("lithmar-checkin-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "-" +
                   ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(scratch);
    }

    ~CheckinTest() override
    {
        sdk::FcsService::setProxy(L"", L"", L"");
        std::error_code ignored;
        std::filesystem::remove_all(scratch, ignored);
    }

    std::vector<std::shared_ptr<model::FcsFile>> slots(int count)
    {
        auto command = std::make_shared<model::StartUploadCommand>();
        command->setNumberOfFiles(count);
        return exchange->startUpload(command).get()->getFcsFiles();
    }

    // Writes `bytes` to a scratch file named `name` (UTF-8) and gives its path.
    std::wstring writeFile(const std::string& name, const std::string& bytes)
    {
        const std::string path = (scratch / name).string();
        std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return sdk::fromUtf8(path);
    }

    ::lithmar::local::LocalPlatform platform;
    std::unique_ptr<sdk::exploration::api::DataExchangeApi> exchange;
    std::filesystem::path scratch;
};

} // namespace lithmar::fcs::testing
