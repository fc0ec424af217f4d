// The readers of our sample formats: the samples read as their README says,
// and bad input ends in an ImportError that names the file, the place and
// the fault.

#include "ImportFixture.h"

#include <tools/local/exchange/imports/BoreholeTables.h>
#include <tools/local/exchange/imports/FieldObservations.h>
#include <tools/local/exchange/imports/GeologicObject.h>
#include <tools/local/exchange/imports/ImportError.h>
#include <tools/local/exchange/imports/TerrainGrid.h>

#include <gmock/gmock.h>

#include <functional>

namespace lithmar::local::testing {
namespace {

using namespace lithmar::local::imports;
using ::testing::HasSubstr;

SourceFile sample(const std::string& name)
{
    const auto files =
        readSourceFiles({"fcs-1"}, [&](const std::string&) { return std::optional<fs::path>(exampleFile(name)); });
    return files.at(0);
}

SourceFile text(const std::string& content, const std::string& name = "f.csv")
{
    return SourceFile{"fcs-1", name, content};
}

TEST(Readers, ReadTheSamplesAsTheirReadmeDescribesThem)
{
    const auto collars = readCollars(CsvTable::parse(sample("collars.csv")));
    ASSERT_EQ(collars.size(), 12u);
    EXPECT_EQ(collars[0].holeId, "BH-01");
    EXPECT_GT(collars[0].totalDepth, 0);
    EXPECT_EQ(readSurveys(CsvTable::parse(sample("surveys.csv"))).size(), 27u);
    const auto intervals = readIntervals(CsvTable::parse(sample("intervals.csv")));
    ASSERT_EQ(intervals.size(), 60u);
    EXPECT_FALSE(intervals[0].porosity) << "topsoil has no porosity";

    const auto observations = readFieldObservations(CsvTable::parse(sample("field-observations.csv")));
    ASSERT_EQ(observations.size(), 10u);
    EXPECT_EQ(observations[1].note, "Gravel pit face, \"imbricated\" clasts");

    const TerrainGrid grid = readTerrainGrid(sample("terrain.asc"));
    EXPECT_EQ(grid.columns * grid.rows, 120u);
    EXPECT_EQ(grid.heights.size(), 120u);
    EXPECT_LT(*grid.lowest, *grid.highest);
    EXPECT_GT(*grid.lowest, 0) << "the no-data cell does not count";

    const GeologicObject model = readGeologicObject(sample("geologic-model.json"));
    EXPECT_EQ(model.name, "Valley fill model");
    ASSERT_EQ(model.collections.size(), 2u);
    EXPECT_EQ(model.collections[0].parameters[1], (std::pair<std::string, std::string>{"minThicknessM", "0.5"}));
}

TEST(Readers, TakeColumnsInAnyOrderAndCaseAndIgnoreUnknownOnes)
{
    const auto collars = readCollars(CsvTable::parse(text("Total_Depth , HOLE_ID,extra,easting,northing,elevation\n"
                                                          "12.5,A,x,1,2,3\n\n\"7\",\"B, north\",y,1,2,3\r\n")));
    ASSERT_EQ(collars.size(), 2u);
    EXPECT_EQ(collars[0].totalDepth, 12.5);
    EXPECT_EQ(collars[1].holeId, "B, north");
    EXPECT_EQ(collars[1].totalDepth, 7);
}

struct BadInput {
    const char* name;
    std::function<void(const SourceFile&)> read;
    const char* content;
    const char* says;
};

void collars(const SourceFile& file)
{
    readCollars(CsvTable::parse(file));
}
void surveys(const SourceFile& file)
{
    readSurveys(CsvTable::parse(file));
}
void intervals(const SourceFile& file)
{
    readIntervals(CsvTable::parse(file));
}
void observations(const SourceFile& file)
{
    readFieldObservations(CsvTable::parse(file));
}
void grid(const SourceFile& file)
{
    readTerrainGrid(file);
}
void model(const SourceFile& file)
{
    readGeologicObject(file);
}

const char* const kCollarHeader = "hole_id,easting,northing,elevation,total_depth\n";

const BadInput kBadInputs[] = {
    {"EmptyFile", collars, "", "is empty; it needs a header row"},
    {"UnclosedQuote", collars, "hole_id,easting\n\"A,1\n", "f.csv (stream fcs-1), row 2: not valid CSV"},
    {"TextAfterQuote", collars, "hole_id,easting\n\"A\"x,1\n", "row 2: not valid CSV"},
    {"UnnamedColumn", collars, "hole_id,,easting\n", "row 1: column 2 of the header has no name"},
    {"RepeatedColumn", collars, "hole_id,Hole_ID\n", "names the column \"hole_id\" twice"},
    {"MissingColumn", collars, "hole_id,easting,northing,elevation\nA,1,2,3\n",
     "no column \"total_depth\" (its columns: hole_id, easting, northing, elevation)"},
    {"ShortRow", collars, "hole_id,easting,northing,elevation,total_depth\nA,1,2,3\n",
     "row 2: has 4 fields, the header 5"},
    {"EmptyId", collars, "hole_id,easting,northing,elevation,total_depth\n,1,2,3,4\n",
     "column \"hole_id\": must not be empty"},
    {"NotANumber", collars, "hole_id,easting,northing,elevation,total_depth\nA,1,2,3,4m\n", "\"4m\" is not a number"},
    {"NotFinite", collars, "hole_id,easting,northing,elevation,total_depth\nA,inf,2,3,4\n", "\"inf\" is not a number"},
    {"ZeroDepth", collars, "hole_id,easting,northing,elevation,total_depth\nA,1,2,3,0\n", "must be above 0"},
    {"HoleTwice", collars, "hole_id,easting,northing,elevation,total_depth\nA,1,2,3,4\nA,1,2,3,4\n",
     "row 3, column \"hole_id\": the hole A is listed twice"},
    {"AzimuthOf360", surveys, "hole_id,depth,azimuth,dip\nA,0,360,-90\n", "360 is not within [0, 360)"},
    {"DipBeyondVertical", surveys, "hole_id,depth,azimuth,dip\nA,0,0,-91\n", "-91 is not within [-90, 90]"},
    {"NegativeDepth", surveys, "hole_id,depth,azimuth,dip\nA,-1,0,-90\n", "cannot be negative"},
    {"EmptyInterval", intervals, "hole_id,depth_from,depth_to,lithology\nA,3,3,SAND\n", "0 <= depth_from < depth_to"},
    {"PorosityAboveOne", intervals, "hole_id,depth_from,depth_to,lithology,porosity\nA,0,1,SAND,1.5\n",
     "1.5 is not within [0, 1]"},
    {"StationTwice", observations, "station_id,easting,northing\nS,1,2\nS,1,2\n", "the station S is listed twice"},
    {"StrikeOutOfRange", observations, "station_id,easting,northing,strike\nS,1,2,-5\n", "-5 is not within [0, 360)"},
    {"GridUnknownKey", grid, "ncols 1\nnrows 1\ncolumns 1\n", "line 3: unknown header key \"columns\""},
    {"GridKeyWithoutValue", grid, "ncols\nnrows 1\n", "line 1: the key ncols has no value"},
    {"GridNoSize", grid, "nrows 1\nxllcorner 0\nyllcorner 0\ncellsize 1\n5\n", "has no ncols"},
    {"GridFractionalSize", grid, "ncols 1.5\nnrows 1\n", "ncols must be a whole number"},
    {"GridTooLarge", grid, "ncols 100000\nnrows 100000\n", "more than the"},
    {"GridBothCorners", grid, "ncols 1\nnrows 1\nxllcorner 0\nxllcenter 0\nyllcorner 0\ncellsize 1\n5\n",
     "one of xllcorner and xllcenter"},
    {"GridZeroCell", grid, "ncols 1\nnrows 1\nxllcorner 0\nyllcorner 0\ncellsize 0\n5\n", "cellsize above 0"},
    {"GridBadHeight", grid, "ncols 2\nnrows 1\nxllcorner 0\nyllcorner 0\ncellsize 1\n5\n6,5\n",
     "line 7: the height \"6,5\" is not a number"},
    {"GridTooManyHeights", grid, "ncols 1\nnrows 1\nxllcorner 0\nyllcorner 0\ncellsize 1\n5 6\n",
     "line 6: more heights than ncols x nrows = 1"},
    {"ModelNotJson", model, "{\"name\": \"M\",", "is not JSON"},
    {"ModelNotAnObject", model, "[1]", "the document: must be an object"},
    {"ModelWithoutCollections", model, "{\"name\": \"M\"}", "the member \"featureCollections\" is missing"},
    {"ModelFeatureWithoutName", model,
     R"({"featureCollections":[{"name":"L","parameters":{"name":"P","values":{}},"features":[{"attribute":"A"}]}]})",
     "featureCollections[0].features[0]: the member \"name\" is missing"},
    {"ModelUnknownOperator", model,
     R"({"featureCollections":[{"name":"L","parameters":{"name":"P","values":{}},"features":[
        {"name":"F","attribute":"A","operator":"~","value":"1"}]}]})",
     "featureCollections[0].features[0].operator: \"~\" is none of"},
    {"ModelParameterOfWrongType", model,
     R"({"featureCollections":[{"name":"L","parameters":{"name":"P","values":{"k":[1]}},"features":[]}]})",
     "featureCollections[0].parameters.values.k: must be a string or a number"},
};

class EachBadInput : public ::testing::TestWithParam<BadInput> {};

TEST_P(EachBadInput, EndsInAnImportErrorThatSaysWhereAndWhat)
{
    const BadInput& bad = GetParam();
    try {
        bad.read(text(bad.content));
        FAIL() << "read without error";
    } catch (const ImportError& e) {
        EXPECT_THAT(e.what(), HasSubstr(bad.says));
        EXPECT_THAT(e.what(), HasSubstr("f.csv (stream fcs-1)"));
    }
}

INSTANTIATE_TEST_SUITE_P(Readers, EachBadInput, ::testing::ValuesIn(kBadInputs),
                         [](const auto& testInfo) { return std::string(testInfo.param.name); });

TEST(SourceFiles, RefuseMissingStreamsUnreadableFilesAndTextThatIsNotUtf8)
{
    TemporaryDirectory directory;
    const fs::path bom = directory.write("bom.csv", "\xEF\xBB\xBFhole_id\n");
    const fs::path latin1 = directory.write("latin1.csv", "caf\xE9\n");
    std::map<std::string, fs::path> stored{
        {"bom", bom}, {"latin1", latin1}, {"gone", directory.path() / "gone"}, {"folder", directory.path()}};
    const StoredFileLookup lookup = [&](const std::string& id) -> std::optional<fs::path> {
        const auto found = stored.find(id);
        return found == stored.end() ? std::nullopt : std::optional<fs::path>(found->second);
    };
    EXPECT_EQ(readSourceFiles({"bom"}, lookup).at(0).text, "hole_id\n") << "the byte order mark is dropped";

    const std::pair<const char*, const char*> faults[] = {
        {"unknown", "no file was checked in for the stream unknown"},
        {"gone", "cannot read the file of stream gone: "},
        {"folder", "cannot read the file of"},
        {"latin1", "latin1.csv (stream latin1) is not UTF-8 text"},
    };
    for (const auto& [stream, says] : faults) {
        try {
            readSourceFiles({"bom", stream}, lookup);
            ADD_FAILURE() << stream << " read without error";
        } catch (const ImportError& e) {
            EXPECT_THAT(e.what(), HasSubstr(says));
        }
    }
}

} // namespace
} // namespace lithmar::local::testing
