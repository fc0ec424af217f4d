// Every operation against the local platform, as a host application calls
// them: a session through sites, coordinate systems, an upload session with
// the five uploads, and downloads.

#include <lithmar/exchange/api/DataExchangeApi.h>
#include <lithmar/exchange/fcs/FcsService.h>
#include <lithmar/exchange/model/GeologicModel.h>
#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/Utf8.h>

#include <tools/local/exchange/LocalPlatform.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace sdk = com::vantorel::lithmar;
namespace api = sdk::exploration::api;
namespace model = sdk::exploration::model;
namespace local = ::lithmar::local;

namespace {

class LocalPlatformTest : public testing::Test {
protected:
    static local::LocalPlatformOptions options(std::size_t queueCapacity, std::size_t jobWorkers)
    {
        local::LocalPlatformOptions settings;
        settings.jobQueueCapacity = queueCapacity;
        settings.jobWorkers = jobWorkers;
        return settings;
    }

    explicit LocalPlatformTest(std::size_t queueCapacity = 100, std::size_t jobWorkers = 2)
        : platform(options(queueCapacity, jobWorkers)), exchange(clientFor(platform))
    {
        // These tests read the uploads' first answers; the waits for their
        // results are tried in UploadWaitPort8080Test.
        exchange.setAsyncResponseTimeOut(-1);
    }

    static std::shared_ptr<sdk::ApiClient> clientFor(local::LocalPlatform& platform)
    {
        platform.start();
        auto configuration = std::make_shared<sdk::ApiConfiguration>();
        configuration->setBaseUrl(sdk::fromUtf8(platform.exchangeUrl()));
        return std::make_shared<sdk::ApiClient>(configuration);
    }

    std::shared_ptr<model::StartUploadResult> startUpload(int files)
    {
        auto command = std::make_shared<model::StartUploadCommand>();
        command->setNumberOfFiles(files);
        return exchange.startUpload(command).get();
    }

    template <typename Command>
    std::shared_ptr<Command> upload(model::StartUploadResult& session, std::size_t stream,
                                    const std::wstring& siteId)
    {
        auto command = std::make_shared<Command>();
        command->setSessionId(session.getSessionId());
        command->getFcsStreamIds().push_back(session.getFcsFiles().at(stream)->getFcsStreamId());
        command->setSiteId(siteId);
        command->setCrs(L"EPSG:4326");
        command->setImportType(L"CREATE");
        return command;
    }

    local::LocalPlatform platform;
    api::DataExchangeApi exchange;
};

TEST_F(LocalPlatformTest, CreatesListsAndShowsSites)
{
    auto command = std::make_shared<model::SiteCreateCommand>();
    command->setSiteName(L"Kestrel Ridge \u00e9");
    const auto created = exchange.createSite(command).get();
    EXPECT_EQ(created->getName(), L"Kestrel Ridge \u00e9");
    ASSERT_FALSE(created->getId().empty());

    const auto sites = exchange.getSites().get();
    std::vector<std::wstring> names;
    for (const auto& site : sites->getSites()) {
        names.push_back(site->getName());
    }
    EXPECT_NE(std::find(names.begin(), names.end(), L"Demo site"), names.end());
    EXPECT_NE(std::find(names.begin(), names.end(), L"Kestrel Ridge \u00e9"), names.end());

    const auto site = exchange.getSite(created->getId()).get();
    ASSERT_TRUE(site->treeIsSet());
    EXPECT_EQ(site->getTree()->getName(), L"Kestrel Ridge \u00e9");
}

TEST_F(LocalPlatformTest, ShowsTheDemoSitesTreeWithTypedChildren)
{
    const auto site = exchange.getSite(L"site-demo").get();
    const auto& children = site->getTree()->getChildren();
    const auto model = std::find_if(children.begin(), children.end(), [](const auto& child) {
        return std::dynamic_pointer_cast<model::GeologicModel>(child) != nullptr;
    });
    ASSERT_NE(model, children.end());
    const auto geologic = std::dynamic_pointer_cast<model::GeologicModel>(*model);
    ASSERT_FALSE(geologic->getChildren().empty());
    EXPECT_FALSE(geologic->getChildren()[0]->getChildren().empty()) << "feature collections hold parameters";
}

TEST_F(LocalPlatformTest, ListsCoordinateSystems)
{
    const auto crs = exchange.getCrs().get();
    ASSERT_GE(crs->getCrs().size(), 5u);
    EXPECT_TRUE(std::any_of(crs->getCrs().begin(), crs->getCrs().end(),
                            [](const auto& system) { return system->getId() == L"EPSG:4326"; }));
}

TEST_F(LocalPlatformTest, RunsAnUploadSessionWithAllFiveUploads)
{
    const auto session = startUpload(5);
    ASSERT_EQ(session->getFcsFiles().size(), 5u);
    for (const auto& slot : session->getFcsFiles()) {
        EXPECT_EQ(sdk::toUtf8(slot->getFcsFileUrl()).rfind(platform.baseUrl(), 0), 0u) << "on the platform's host";
    }

    const std::wstring site = L"site-demo";
    std::vector<std::wstring> jobs;
    jobs.push_back(exchange.uploadBoreholes(upload<model::BoreholeUploadCommand>(*session, 0, site)).get()->getJobId());
    auto intervals = std::make_shared<model::BoreholeIntervalSetUploadCommand>();
    intervals->setSessionId(session->getSessionId());
    intervals->setFcsStreamId(session->getFcsFiles()[1]->getFcsStreamId());
    intervals->setSiteId(site);
    intervals->setName(L"Assays");
    jobs.push_back(exchange.uploadBoreholeIntervalSet(intervals).get()->getJobId());
    auto observation = upload<model::FieldObservationUploadCommand>(*session, 2, site);
    observation->setName(L"Outcrops");
    jobs.push_back(exchange.uploadFieldObservation(observation).get()->getJobId());
    auto geo = upload<model::GeoUploadCommand>(*session, 3, site);
    geo->setName(L"Granite body");
    jobs.push_back(exchange.uploadGeo(geo).get()->getJobId());
    auto terrain = upload<model::TerrainUploadCommand>(*session, 4, site);
    terrain->setName(L"Lidar 2024");
    jobs.push_back(exchange.uploadTerrain(terrain).get()->getJobId());
    for (const auto& job : jobs) {
        EXPECT_FALSE(job.empty());
        EXPECT_NE(job, L"QUEUE_FULL");
    }
    std::sort(jobs.begin(), jobs.end());
    EXPECT_EQ(std::unique(jobs.begin(), jobs.end()), jobs.end()) << "one job per upload";

    const auto file = std::filesystem::temp_directory_path() / ("lithmar-upload-" + std::to_string(::getpid()));
    std::ofstream(file) << "borehole data";
    const std::vector<std::wstring> paths(session->getFcsFiles().size(), sdk::fromUtf8(file.string()));
    auto finish = std::make_shared<model::FinishUploadCommand>();
    finish->setSessionId(session->getSessionId());
    finish->getFcsReceipts() = sdk::FcsService::checkin(session->getFcsFiles(), paths).get();
    std::filesystem::remove(file);
    EXPECT_NO_THROW(exchange.finishUpload(finish).get());
    EXPECT_THROW(exchange.finishUpload(finish).get(), sdk::ApiException) << "a session closes once";
}

TEST_F(LocalPlatformTest, RefusesUploadsForUnknownSitesAndStreams)
{
    const auto session = startUpload(1);
    try {
        exchange.uploadBoreholes(upload<model::BoreholeUploadCommand>(*session, 0, L"no-such-site")).get();
        FAIL() << "accepted an unknown site";
    } catch (const sdk::ApiException& error) {
        EXPECT_EQ(error.error_code().value(), 404);
        EXPECT_EQ(sdk::toUtf8(error.getMessage()).rfind("error calling uploadBoreholes: ", 0), 0u);
        ASSERT_NE(error.getContent(), nullptr);
    }
    auto stranger = upload<model::GeoUploadCommand>(*session, 0, L"site-demo");
    stranger->getFcsStreamIds() = {L"not-a-stream"};
    EXPECT_THROW(exchange.uploadGeo(stranger).get(), sdk::ApiException);
}

TEST_F(LocalPlatformTest, DownloadsTheDemoModelAndFeature)
{
    const auto model = exchange.downloadGeologicModel(L"gm-demo", L"", L"", L"").get();
    EXPECT_EQ(model->getGeologicModelId(), L"gm-demo");
    ASSERT_FALSE(model->getFiles().empty());
    EXPECT_FALSE(model->getFiles()[0]->getData().empty());

    const auto feature = exchange.downloadGeologicFeature(L"feat-demo-sand", L"", L"", L"").get();
    EXPECT_EQ(feature->getGeologicFeatureId(), L"feat-demo-sand");
    ASSERT_FALSE(feature->getFiles().empty());

    try {
        exchange.downloadGeologicModel(L"no-such-model", L"", L"", L"").get();
        FAIL() << "downloaded an unknown model";
    } catch (const sdk::ApiException& error) {
        EXPECT_EQ(error.error_code().value(), 404);
    }
}

TEST_F(LocalPlatformTest, KeepsTheSessionTheServiceHandsOut)
{
    exchange.getSites().get();
    const std::wstring cookie = exchange.getSessionCookie();
    EXPECT_NE(cookie.find(L"JSESSIONID="), std::wstring::npos) << sdk::toUtf8(cookie);
    exchange.getCrs().get();
    const auto requests = platform.server().requests();
    EXPECT_NE(requests.back().header("Cookie").find("JSESSIONID="), std::string::npos);
}

class FullQueueTest : public LocalPlatformTest {
protected:
    // No job runner empties the queue.
    FullQueueTest() : LocalPlatformTest(1, 0) {}
};

TEST_F(FullQueueTest, AFullQueueAnswersWithQueueFull)
{
    const auto session = startUpload(2);
    const auto first = exchange.uploadBoreholes(upload<model::BoreholeUploadCommand>(*session, 0, L"site-demo")).get();
    EXPECT_NE(first->getJobId(), L"QUEUE_FULL");
    const auto second = exchange.uploadBoreholes(upload<model::BoreholeUploadCommand>(*session, 1, L"site-demo")).get();
    EXPECT_EQ(second->getJobId(), L"QUEUE_FULL");
}

} // namespace
