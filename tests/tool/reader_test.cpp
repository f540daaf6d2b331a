// The plate readers: real RDML files from the data folder (counts checked
// against an independent count), RDML documents and plate tables written
// here to exercise one rule each, and broken files of every kind, which must
// give a message naming the file or set a single reaction aside.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "plate.h"

namespace corvel::tool {
namespace {

namespace fs = std::filesystem;

fs::path dataDirectory() {
  const char* env = std::getenv("CORVEL_DATA_DIR");
  return env && *env ? fs::path(env) : fs::path(CORVEL_SOURCE_DATA_DIR);
}

std::string readBytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

const Reaction* find(const Plate& plate, const std::string& well, const std::string& target) {
  for (const Reaction& r : plate.reactions)
    if (r.well == well && r.target == target) return &r;
  return nullptr;
}

// The message of the InputError that reading `path` throws ("" when none).
template <typename Reader>
std::string errorOf(Reader read, const std::string& path) {
  try {
    read(path);
  } catch (const InputError& e) {
    return e.what();
  }
  return "";
}

// A fresh directory for files written by one test.
class ReaderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    dir_ = fs::temp_directory_path() /
           ("corvel-reader-test-" + std::to_string(stamp) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
  }
  void TearDown() override {
    std::error_code ec;
    fs::remove_all(dir_, ec);
  }
  std::string write(const std::string& name, const std::string& bytes) {
    const fs::path path = dir_ / name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path.string();
  }
  // A real RDML file of the data folder, or "" (and the test skipped).
  static std::string dataFile(const std::string& name) {
    const fs::path path = dataDirectory() / name;
    return fs::exists(path) ? path.string() : std::string();
  }

  fs::path dir_;
};

#define REQUIRE_DATA(var, name)                                 \
  const std::string var = dataFile(name);                       \
  if (var.empty())                                              \
    GTEST_SKIP() << name << " not found in " << dataDirectory() \
                 << " (set CORVEL_DATA_DIR to the folder of real qPCR files)";

// --- real files ---------------------------------------------------------------

// The expected numbers were counted from each archive's rdml_data.xml with
// Python's xml.etree, independently of this reader: <run> elements,
// <react>/<data> pairs, distinct <tar id> values, <adp> and <mdp> per <data>,
// and the quantities of the samples the reactions name (shifted_baseline
// declares six standards but uses four).
struct RealFile {
  const char* name;
  const char* format;
  std::size_t reactions;
  std::size_t targets;
  std::size_t cycles;   // <adp> per reaction (all equal in these files)
  std::size_t melting;  // <mdp> per reaction
  std::size_t withCq;   // <cq> present and not negative
  std::set<double> quantities;
  const char* instrument;
};

TEST_F(ReaderTest, RealFilesReadCompletely) {
  const RealFile files[] = {
      {"quantification_methods.rdml",
       "RDML 1.4",
       180,
       20,
       40,
       133,
       180,
       {26, 75, 260},
       "QuantStudio Dx"},
      {"shifted_baseline.rdml", "RDML 1.4", 144, 12, 60, 0, 72, {26, 75, 260, 750}, ""},
      {"own_mix_a.rdml", "RDML 1.4", 22, 7, 40, 133, 0, {150}, "QuantStudio Dx"},
      {"test_mca_1_raw_data.rdml", "RDML 1.3", 50, 1, 0, 149, 0, {}, ""},
  };
  std::size_t found = 0;
  for (const RealFile& file : files) {
    const std::string path = dataFile(file.name);
    if (path.empty()) continue;
    ++found;
    SCOPED_TRACE(file.name);
    const Plate plate = readPlate(path);
    EXPECT_EQ(plate.path, path);
    EXPECT_EQ(plate.format, file.format);
    ASSERT_EQ(plate.runs.size(), 1u);
    EXPECT_EQ(plate.runs[0].instrument, file.instrument);
    EXPECT_EQ(plate.runs[0].rows, 16);
    EXPECT_EQ(plate.runs[0].columns, 24);
    EXPECT_EQ(plate.reactions.size(), file.reactions);
    EXPECT_TRUE(plate.skipped.empty());
    EXPECT_TRUE(plate.warnings.empty()) << plate.warnings.front();
    std::set<std::string> targets;
    std::set<double> quantities;
    std::size_t withCq = 0;
    for (const Reaction& r : plate.reactions) {
      targets.insert(r.target);
      if (r.quantity) {
        quantities.insert(*r.quantity);
        EXPECT_EQ(r.quantityUnit, "cop");
      }
      if (r.instrumentCq) ++withCq;
      EXPECT_EQ(r.run, plate.runs[0].id);
      EXPECT_EQ(r.cycles.size(), file.cycles) << r.origin;
      EXPECT_EQ(r.fluorescence.size(), file.cycles) << r.origin;
      EXPECT_EQ(r.temperatures.size(), file.melting) << r.origin;
      EXPECT_EQ(r.meltFluorescence.size(), file.melting) << r.origin;
      for (std::size_t i = 0; i < r.cycles.size(); ++i) EXPECT_EQ(r.cycles[i], i + 1.0);
    }
    EXPECT_EQ(targets.size(), file.targets);
    EXPECT_EQ(quantities, file.quantities);
    EXPECT_EQ(withCq, file.withCq);
  }
  if (found == 0) GTEST_SKIP() << "no real RDML files in " << dataDirectory();
}

TEST_F(ReaderTest, QuantificationMethodsValuesAndWells) {
  REQUIRE_DATA(path, "quantification_methods.rdml");
  const Plate plate = readRdml(path);
  // The first <react id="4"> of the 16 x 24 plate is well A4.
  const Reaction& first = plate.reactions.front();
  EXPECT_EQ(first.well, "A4");
  EXPECT_EQ(first.wellNumber, 4);
  EXPECT_EQ(first.target, "FSTL_1_A_047");
  EXPECT_EQ(first.sample, "genomic DNA 7ng");
  EXPECT_EQ(first.sampleType, "std");
  EXPECT_EQ(first.quantity, 260.0);
  EXPECT_EQ(first.instrumentCq, 24.748472);
  EXPECT_EQ(first.fluorescence.front(), 80588.414);
  EXPECT_EQ(first.temperatures.front(), 60.1731);
  EXPECT_EQ(first.run, "Quantification Methods/Run 1");
  EXPECT_EQ(first.origin,
            "run \"Quantification Methods/Run 1\", <react id=\"4\">, target \"FSTL_1_A_047\"");
  for (const Reaction& r : plate.reactions) EXPECT_EQ(r.sampleType, "std");
}

TEST_F(ReaderTest, MeltingOnlyFileKeepsTheFallingStartInFileOrder) {
  REQUIRE_DATA(path, "test_mca_1_raw_data.rdml");
  const Plate plate = readPlate(path);
  ASSERT_EQ(plate.reactions.size(), 50u);
  const Reaction& r = plate.reactions.front();
  EXPECT_EQ(r.well, "G12");  // <react id="156">
  EXPECT_EQ(r.target, "CRE");
  EXPECT_TRUE(r.cycles.empty());
  ASSERT_EQ(r.temperatures.size(), 149u);
  const std::vector<double> start(r.temperatures.begin(), r.temperatures.begin() + 6);
  EXPECT_EQ(start, (std::vector<double>{64.91, 64.85, 64.73, 64.67, 64.82, 65.12}));
  EXPECT_EQ(r.meltFluorescence.front(), 30.82);
}

// matrix_gaps.rdml: 72 reactions of one target whose cycles start at 2 or
// later, with gaps, down to a single point (<react id="339">, cycle 20) and
// none at all (<react id="343">); 3010 points in all. Every reaction is
// read as it is: judging the curves is the analysis' work.
TEST_F(ReaderTest, MalformedMatrixIsReadAsIs) {
  REQUIRE_DATA(path, "matrix_gaps.rdml");
  Plate plate;
  ASSERT_NO_THROW(plate = readPlate(path));
  EXPECT_EQ(plate.reactions.size() + plate.skipped.size(), 72u);
  for (const SkippedReaction& s : plate.skipped) EXPECT_FALSE(s.reason.empty());
  EXPECT_EQ(plate.reactions.size(), 72u);
  std::size_t points = 0;
  for (const Reaction& r : plate.reactions) {
    points += r.cycles.size();
    EXPECT_TRUE(std::is_sorted(r.cycles.begin(), r.cycles.end())) << r.origin;
  }
  EXPECT_EQ(points, 3010u);
  const Reaction* k1 = find(plate, "K1", "tar1");  // <react id="241">
  ASSERT_NE(k1, nullptr);
  EXPECT_EQ(k1->cycles.front(), 2.0);
  EXPECT_EQ(k1->cycles.back(), 45.0);
  const Reaction* single = find(plate, "O3", "tar1");  // <react id="339">
  ASSERT_NE(single, nullptr);
  EXPECT_EQ(single->cycles, std::vector<double>{20.0});
  const Reaction* empty = find(plate, "O7", "tar1");  // <react id="343">
  ASSERT_NE(empty, nullptr);
  EXPECT_TRUE(empty->cycles.empty());
}

// --- RDML documents written here ------------------------------------------------

std::string rdml(const std::string& body, const std::string& version = "1.4") {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<rdml xmlns=\"http://www.rdml.org\" "
         "version=\"" +
         version + "\">\n" + body + "</rdml>\n";
}

const std::string kFormat96 =
    "<pcrFormat><rows>8</rows><columns>12</columns><rowLabel>ABC</rowLabel>"
    "<columnLabel>123</columnLabel></pcrFormat>";

TEST_F(ReaderTest, RdmlSamplesWellsAndPoints) {
  const std::string path = write(
      "plate.xml",
      rdml("<sample id=\"s1\"><type>std</type><quantity><value>1e3</value><unit>ng</unit>"
           "</quantity></sample><sample id=\"s2\"/><target id=\"G\"/><target id=\"H\"/>"
           "<experiment id=\"e\"><run id=\"r\"><instrument>Cycler 9</instrument>" +
           kFormat96 +
           "<react id=\"14\"><sample id=\"s1\"/>"
           "<data><tar id=\"G\"/><cq>-1</cq>"
           "<adp><cyc>2</cyc><fluor>20</fluor></adp><adp><cyc>1</cyc><fluor>10</fluor></adp>"
           "<adp><cyc>2</cyc><fluor>21</fluor></adp>"
           "<mdp><tmp>61</tmp><fluor>5</fluor></mdp><mdp><tmp>60.5</tmp><fluor>6</fluor></mdp>"
           "</data><data><tar id=\"H\"/><cq> 17.5 </cq>"
           "<adp><cyc>1</cyc><fluor>+1.5e2</fluor></adp></data></react>"
           "<react id=\"96\"><sample id=\"s2\"/><data><tar id=\"G\"/></data></react>"
           "<react id=\"200\"><sample id=\"s3\"/><data><tar id=\"G\"/></data></react>"
           "</run></experiment>"));
  const Plate plate = readPlate(path);
  EXPECT_EQ(plate.format, "RDML 1.4");
  ASSERT_EQ(plate.runs.size(), 1u);
  EXPECT_EQ(plate.runs[0].id, "e/r");
  EXPECT_EQ(plate.runs[0].instrument, "Cycler 9");
  ASSERT_EQ(plate.reactions.size(), 4u);
  EXPECT_TRUE(plate.skipped.empty());

  const Reaction& g = plate.reactions[0];
  EXPECT_EQ(g.well, "B2");
  EXPECT_EQ(g.wellNumber, 14);
  EXPECT_EQ(g.sampleType, "std");
  EXPECT_EQ(g.quantity, 1000.0);
  EXPECT_EQ(g.quantityUnit, "ng");
  EXPECT_FALSE(g.instrumentCq);  // -1: no Cq
  // Sorted by cycle; the two readings of cycle 2 stay in file order.
  EXPECT_EQ(g.cycles, (std::vector<double>{1, 2, 2}));
  EXPECT_EQ(g.fluorescence, (std::vector<double>{10, 20, 21}));
  EXPECT_EQ(g.temperatures, (std::vector<double>{61, 60.5}));
  EXPECT_EQ(plate.reactions[1].target, "H");
  EXPECT_EQ(plate.reactions[1].instrumentCq, 17.5);
  EXPECT_EQ(plate.reactions[1].fluorescence, std::vector<double>{150});

  EXPECT_EQ(plate.reactions[2].well, "H12");
  EXPECT_EQ(plate.reactions[2].sampleType, "unkn");  // a sample without <type>
  EXPECT_FALSE(plate.reactions[2].quantity);
  // Beyond the 96 wells and of an undeclared sample: read, and both said.
  EXPECT_EQ(plate.reactions[3].well, "200");
  EXPECT_EQ(plate.reactions[3].sampleType, "unkn");
  ASSERT_EQ(plate.warnings.size(), 2u);
  EXPECT_NE(plate.warnings[0].find("1 reaction id is not a position on its 8 x 12 plate"),
            std::string::npos);
  EXPECT_NE(plate.warnings[1].find("\"s3\" is used by reactions but not declared"),
            std::string::npos);
}

TEST_F(ReaderTest, RdmlOlderDocumentsWithoutFormatOrWithPrefixes) {
  // A prefixed namespace, no <pcrFormat>, well ids written as positions.
  const std::string path =
      write("old.xml",
            "<r:rdml xmlns:r=\"http://www.rdml.org\" version=\"1.1\"><r:sample id=\"s\">"
            "<r:type>ntc</r:type></r:sample><r:target id=\"G\"/><r:experiment id=\"e\">"
            "<r:run id=\"r\"><r:react id=\"C3\"><r:sample id=\"s\"/><r:data><r:tar id=\"G\"/>"
            "<r:adp><r:cyc>1</r:cyc><r:fluor>2</r:fluor></r:adp></r:data></r:react>"
            "</r:run></r:experiment></r:rdml>");
  const Plate plate = readRdml(path);
  EXPECT_EQ(plate.format, "RDML 1.1");
  ASSERT_EQ(plate.reactions.size(), 1u);
  EXPECT_EQ(plate.reactions[0].well, "C3");
  EXPECT_EQ(plate.reactions[0].wellNumber, 0);
  EXPECT_EQ(plate.reactions[0].sampleType, "ntc");
  EXPECT_EQ(plate.runs[0].rows, 0);
  ASSERT_EQ(plate.warnings.size(), 1u);
  EXPECT_NE(plate.warnings[0].find("no <pcrFormat>"), std::string::npos);
}

// A fault inside one reaction sets that reaction aside with the element
// named; every other reaction is read.
TEST_F(ReaderTest, RdmlFaultsInOneReactionAreSkippedWithTheReason) {
  const auto react = [](const std::string& id, const std::string& data) {
    return "<react id=\"" + id + "\"><sample id=\"s\"/><data><tar id=\"G\"/>" + data +
           "</data></react>";
  };
  const std::string good = "<adp><cyc>1</cyc><fluor>1</fluor></adp>";
  const std::string path = write(
      "faults.rdml",
      rdml("<sample id=\"s\"/><target id=\"G\"/><experiment id=\"e\"><run id=\"r\">" + kFormat96 +
           react("1", good) + react("2", good + "<adp><cyc>2</cyc><fluor>abc</fluor></adp>") +
           react("3", "<adp><cyc>1</cyc></adp>") + react("4", "<adp><fluor>1</fluor></adp>") +
           react("5", "<mdp><tmp>60</tmp><fluor>1e999</fluor></mdp>") +
           react("6", "<adp><cyc>1</cyc><fluor>nan</fluor></adp>") +
           react("7", "<cq>x</cq>" + good) + react("8", "<adp><cyc/><fluor>1</fluor></adp>") +
           react("1", good) + "<react id=\"9\"><sample id=\"s\"/><data/></react>" +
           "<react><sample id=\"s\"/><data><tar id=\"G\"/></data></react>" +
           react("10", "<cq></cq>" + good) + "</run></experiment>"));
  const Plate plate = readPlate(path);
  ASSERT_EQ(plate.reactions.size(), 2u);
  EXPECT_EQ(plate.reactions[0].well, "A1");
  EXPECT_EQ(plate.reactions[1].well, "A10");
  EXPECT_FALSE(plate.reactions[1].instrumentCq);

  std::map<std::string, std::string> reasons;  // by well
  for (const SkippedReaction& s : plate.skipped) {
    EXPECT_EQ(s.run, "e/r");
    reasons[s.well] += s.reason;
  }
  EXPECT_EQ(reasons["A2"], "<react id=\"2\">/<data>/<adp> 2: malformed number in <fluor>: \"abc\"");
  EXPECT_EQ(reasons["A3"], "<react id=\"3\">/<data>/<adp> 1: the point has no <fluor>");
  EXPECT_EQ(reasons["A4"], "<react id=\"4\">/<data>/<adp> 1: the point has no <cyc>");
  EXPECT_EQ(reasons["A5"],
            "<react id=\"5\">/<data>/<mdp> 1: number out of range in <fluor>: \"1e999\"");
  EXPECT_EQ(reasons["A6"],
            "<react id=\"6\">/<data>/<adp> 1: not a finite number in <fluor>: \"nan\"");
  EXPECT_EQ(reasons["A7"], "<react id=\"7\">/<data>: malformed number in <cq>: \"x\"");
  EXPECT_EQ(reasons["A8"], "<react id=\"8\">/<data>/<adp> 1: <cyc> is empty");
  EXPECT_NE(reasons["A1"].find("a second reaction of well \"A1\""), std::string::npos);
  EXPECT_NE(reasons["A9"].find("names no target"), std::string::npos);
  EXPECT_NE(reasons[""].find("has no id"), std::string::npos);
  EXPECT_EQ(plate.skipped.size(), 10u);
}

// --- files that are not plates ------------------------------------------------

TEST_F(ReaderTest, UnreadableFilesNameTheFileAndTheProblem) {
  const std::string missing = (dir_ / "missing.rdml").string();
  const std::string empty = write("empty.rdml", "");
  const std::string junk = write("junk.bin", std::string("\x01\x02garbage\x00\xff", 11));
  const std::string text = write("notes.txt", "Well Position,Sample Name\nA1,x\n");
  const std::string wrongRoot = write("other.xml", "<?xml version=\"1.0\"?>\n<html><body/></html>");
  const std::string truncated =
      write("cut.xml", rdml("<experiment id=\"e\"><run id=\"r\">").substr(0, 120));
  const std::string dir = dir_.string();

  const auto check = [](const std::string& message, const std::string& path,
                        const std::string& what) {
    EXPECT_EQ(message.rfind(path + ": ", 0), 0u) << message;
    EXPECT_NE(message.find(what), std::string::npos) << message;
  };
  for (const auto reader : {&readPlate, &readRdml, &readTable}) {
    check(errorOf(reader, missing), missing, "no such file");
    check(errorOf(reader, dir), dir, "is a directory");
    check(errorOf(reader, empty), empty, "the file is empty");
  }
  check(errorOf(readPlate, junk), junk, "not an RDML file or a plate table (binary data");
  check(errorOf(readRdml, junk), junk, "neither a zip archive nor an XML document");
  check(errorOf(readPlate, text), text,
        "not an RDML file or a plate table (it starts with \"Well Position");
  check(errorOf(readPlate, wrongRoot), wrongRoot, "an XML document whose root element is <html>");
  check(errorOf(readRdml, wrongRoot), wrongRoot, "the root element is <html>, not <rdml>");
  const std::string cut = errorOf(readPlate, truncated);
  check(cut, truncated, "not well-formed XML at line 3, column");
  EXPECT_NE(cut.find("the document ends too early"), std::string::npos) << cut;
  check(errorOf(readTable, text), text, "line 1: expected a header row");
}

TEST_F(ReaderTest, DamagedArchivesNameTheFileAndTheProblem) {
  REQUIRE_DATA(source, "quantification_methods.rdml");
  const std::string bytes = readBytes(source);

  const std::string truncated = write("truncated.rdml", bytes.substr(0, bytes.size() / 2));
  const std::string message = errorOf(readPlate, truncated);
  EXPECT_EQ(message.rfind(truncated + ": a damaged zip archive", 0), 0u) << message;

  // The same archive with its document renamed (the name appears in the
  // local header and the central directory; the checksums cover only the
  // data, so the archive stays valid).
  std::string renamed = bytes;
  for (std::size_t at = 0; (at = renamed.find("rdml_data.xml", at)) != std::string::npos;)
    renamed.replace(at, 13, "rdml_data.txt");
  const std::string noXml = write("noxml.rdml", renamed);
  EXPECT_EQ(errorOf(readPlate, noXml),
            noXml + ": the zip archive holds no XML document (entries: rdml_data.txt)");

  // Any single .xml entry is taken when rdml_data.xml is absent.
  std::string other = bytes;
  for (std::size_t at = 0; (at = other.find("rdml_data.xml", at)) != std::string::npos;)
    other.replace(at, 13, "plate_001.xml");
  EXPECT_EQ(readPlate(write("other.rdml", other)).reactions.size(), 180u);

  // An archive whose directory claims a 4 GiB document is refused before
  // anything is unpacked.
  std::string bomb = bytes;
  const std::size_t central = bomb.find(std::string("PK\x01\x02", 4));
  ASSERT_NE(central, std::string::npos);
  bomb.replace(central + 24, 4, std::string("\xf0\xff\xff\xff", 4));
  const std::string huge = write("huge.rdml", bomb);
  const std::string hugeMessage = errorOf(readPlate, huge);
  EXPECT_EQ(hugeMessage.rfind(huge + ": ", 0), 0u) << hugeMessage;
  EXPECT_NE(hugeMessage.find("more than the 512 MiB"), std::string::npos) << hugeMessage;
}

// --- plate tables ---------------------------------------------------------------

TEST_F(ReaderTest, TableRoundTripCsvWithBomCrlfAndQuotes) {
  const std::string path = write("plate.csv",
                                 "\xef\xbb\xbf# exported by hand\r\n"
                                 "Well,Target,Sample,Type,Quantity (cop),1,2,cycle 3,c4\r\n"
                                 "A1,GAPDH,\"liver, left\",std,1000,0.1,0.2,0.3,0.4\r\n"
                                 "b02 , GAPDH ,\"say \"\"hi\"\"\",,,1,2,3,4,,\r\n"
                                 ",,,,,\r\n"
                                 "\r\n"
                                 "P24,\"two\r\nlines\",s,NTC,,1e-3,+2,3,4\r\n");
  const Plate plate = readPlate(path);
  EXPECT_EQ(plate.format, "CSV");
  EXPECT_TRUE(plate.skipped.empty());
  EXPECT_TRUE(plate.warnings.empty());
  ASSERT_EQ(plate.runs.size(), 1u);
  EXPECT_EQ(plate.runs[0].id, "1");
  EXPECT_EQ(plate.runs[0].rows, 16);  // P24 needs a 384-well plate
  ASSERT_EQ(plate.reactions.size(), 3u);

  const Reaction& a1 = plate.reactions[0];
  EXPECT_EQ(a1.run, "1");
  EXPECT_EQ(a1.well, "A1");
  EXPECT_EQ(a1.wellNumber, 1);
  EXPECT_EQ(a1.sample, "liver, left");
  EXPECT_EQ(a1.sampleType, "std");
  EXPECT_EQ(a1.quantity, 1000.0);
  EXPECT_EQ(a1.quantityUnit, "cop");
  EXPECT_EQ(a1.cycles, (std::vector<double>{1, 2, 3, 4}));
  EXPECT_EQ(a1.fluorescence, (std::vector<double>{0.1, 0.2, 0.3, 0.4}));
  EXPECT_EQ(a1.origin, "line 3");

  const Reaction& b2 = plate.reactions[1];
  EXPECT_EQ(b2.well, "B2");
  EXPECT_EQ(b2.wellNumber, 26);
  EXPECT_EQ(b2.target, "GAPDH");
  EXPECT_EQ(b2.sample, "say \"hi\"");
  EXPECT_EQ(b2.sampleType, "unkn");
  EXPECT_FALSE(b2.quantity);

  const Reaction& p24 = plate.reactions[2];
  EXPECT_EQ(p24.target, "two\r\nlines");
  EXPECT_EQ(p24.sampleType, "ntc");
  EXPECT_EQ(p24.wellNumber, 384);
  EXPECT_EQ(p24.fluorescence, (std::vector<double>{0.001, 2, 3, 4}));
  EXPECT_EQ(p24.origin, "line 7");
}

TEST_F(ReaderTest, TableTsvWithCyclesOutOfOrder) {
  const std::string path = write("plate.tsv",
                                 "well\ttarget\tsample\ttype\tquantity\t3\t1\t2\n"
                                 "A1\tG\t\"a,b\"\tunkn\t\t30\t10\t20\n"
                                 "7\tG\ts\tunkn\t\t3\t1\t2\n");
  const Plate plate = readPlate(path);
  EXPECT_EQ(plate.format, "TSV");
  ASSERT_EQ(plate.reactions.size(), 2u);
  EXPECT_EQ(plate.reactions[0].sample, "a,b");
  EXPECT_EQ(plate.reactions[0].cycles, (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(plate.reactions[0].fluorescence, (std::vector<double>{10, 20, 30}));
  EXPECT_EQ(plate.reactions[0].wellNumber, 0);  // wells of mixed naming: no plate format
  EXPECT_EQ(plate.reactions[1].wellNumber, 7);
  EXPECT_EQ(plate.runs[0].rows, 0);
}

TEST_F(ReaderTest, TableAmplificationAndBothMeltingLayoutsMerge) {
  const std::string path = write("both.csv",
                                 "well,target,sample,type,quantity,1,2,3\n"
                                 "A1,G,s1,std,10,1,2,3\n"
                                 "A2,G,s2,unkn,,1,2,3\n"
                                 "\n"
                                 "well,target,sample,type,quantity,65.0 \xc2\xb0"
                                 "C,64.9\xc2\xb0"
                                 "C,T65.5\n"
                                 "A1,G,,,,9,8,7\n"
                                 "A2,G,other,,,9,8,7\n"
                                 "A3,G,s3,ntc,,9,8,7\n"
                                 "\n"
                                 "well,target,sample,type,quantity,m1,m2\n"
                                 "B1,G,,temperature,,70.1,70.6\n"
                                 "B1,G,s4,unkn,,5,4\n"
                                 "B2,G,s5,unkn,,5,4\n"
                                 "B3,G,,temperature,,70,71\n");
  const Plate plate = readTable(path);
  ASSERT_EQ(plate.reactions.size(), 4u);
  const Reaction* a1 = find(plate, "A1", "G");
  ASSERT_NE(a1, nullptr);
  EXPECT_EQ(a1->sample, "s1");  // the melting row leaves it empty
  EXPECT_EQ(a1->sampleType, "std");
  EXPECT_EQ(a1->cycles.size(), 3u);
  EXPECT_EQ(a1->temperatures, (std::vector<double>{65.0, 64.9, 65.5}));  // file order
  EXPECT_EQ(a1->meltFluorescence, (std::vector<double>{9, 8, 7}));
  EXPECT_EQ(a1->origin, "line 2, melting line 6");
  // A2's melting row names another sample: set aside, amplification kept.
  const Reaction* a2 = find(plate, "A2", "G");
  ASSERT_NE(a2, nullptr);
  EXPECT_EQ(a2->cycles.size(), 3u);
  EXPECT_TRUE(a2->temperatures.empty());
  const Reaction* a3 = find(plate, "A3", "G");
  ASSERT_NE(a3, nullptr);
  EXPECT_TRUE(a3->cycles.empty());
  EXPECT_EQ(a3->sampleType, "ntc");
  const Reaction* b1 = find(plate, "B1", "G");
  ASSERT_NE(b1, nullptr);
  EXPECT_EQ(b1->temperatures, (std::vector<double>{70.1, 70.6}));
  EXPECT_EQ(b1->meltFluorescence, (std::vector<double>{5, 4}));

  ASSERT_EQ(plate.skipped.size(), 3u);
  EXPECT_EQ(plate.skipped[0].reason,
            "line 7: sample \"other\" differs from line 3 for the same well and target");
  EXPECT_EQ(plate.skipped[1].well, "B2");
  EXPECT_NE(plate.skipped[1].reason.find("line 13: no temperature row"), std::string::npos);
  EXPECT_EQ(plate.skipped[2].well, "B3");
  EXPECT_NE(plate.skipped[2].reason.find("line 14: a temperature row"), std::string::npos);
}

TEST_F(ReaderTest, TableRowsThatCannotBeReadAreSkippedWithLineAndColumn) {
  const std::string path = write("rows.csv",
                                 "well,target,sample,type,quantity,1,2,3,4\n"
                                 "A1,G,s,unkn,,1,2,3,4\n"
                                 "A2,G,s,unkn,,1,2\n"
                                 "A3,G,s,unkn,,1,2,,\n"
                                 "A4,G,s,unkn,,1,,3,4\n"
                                 "A5,G,s,unkn,,1,2,3.3.3,4\n"
                                 "A6,G,s,unkn,,1,2,\"0,5\",4\n"
                                 "A7,G,s,unkn,,1,2,3,4,5\n"
                                 "A8,G,s,standard,,1,2,3,4\n"
                                 "A9,G,s,std,1 ng,1,2,3,4\n"
                                 ",G,s,unkn,,1,2,3,4\n"
                                 "A1,G,s,unkn,,1,2,3,4\n"
                                 "A10,G,s,temperature,,1,2,3,4\n"
                                 "A11,G,\"s\"x,unkn,,1,2,3,4\n");
  const Plate plate = readTable(path);
  ASSERT_EQ(plate.reactions.size(), 1u);
  std::vector<std::string> reasons;
  for (const SkippedReaction& s : plate.skipped) reasons.push_back(s.reason);
  const std::vector<std::string> expected = {
      "line 3: 2 values for 4 cycles (the row ends early)",
      "line 4: 2 values for 4 cycles (the row ends early)",
      "line 5, column 7 (cycle 2): empty cell",
      "line 6, column 8 (cycle 3): not a number: \"3.3.3\"",
      "line 7, column 8 (cycle 3): not a number: \"0,5\" (write decimals with a point)",
      "line 8: 5 values for 4 cycles (more cells than the header on line 1 has columns)",
      "line 9, column 4: unknown sample type \"standard\" (use unkn, std, ntc, nac, ntp, nrt, pos "
      "or opt)",
      "line 10, column 5: quantity: not a number: \"1 ng\"",
      "line 11, column 1: no well",
      "line 12: well \"A1\", target \"G\" already has amplification readings (line 2)",
      "line 13, column 4: a temperature row belongs in a melting table, not under cycle columns",
      "line 14, column 3: text after the closing quote of a quoted cell",
  };
  EXPECT_EQ(reasons, expected);
}

TEST_F(ReaderTest, TableHeaderErrorsStopTheFile) {
  const auto message = [&](const std::string& text) {
    return errorOf(readTable, write("bad.csv", text));
  };
  const std::string path = (dir_ / "bad.csv").string() + ": ";
  EXPECT_EQ(message("# only a comment\n\nwell;target\n"),
            path +
                "line 3: the columns are separated by semicolons; save the table as CSV "
                "(comma-separated) or as tab-separated text");
  EXPECT_EQ(message("well,target,sample,kind,quantity,1\n"),
            path +
                "line 1, column 4: expected the column \"type\", found \"kind\" (a table "
                "starts with well,target,sample,type,quantity)");
  EXPECT_EQ(message("well,target,sample,type,quantity\nA1,G\n"),
            path +
                "line 1, column 6: the header has no reading columns (cycle numbers or "
                "temperatures)");
  EXPECT_EQ(message("well,target,sample,type,quantity,1,1.5\n"),
            path +
                "line 1, column 7: \"1.5\" is neither a cycle (1, cycle 1, c1), a temperature "
                "(65.0 \xc2\xb0"
                "C, T65.0) nor a melting reading number (m1)");
  EXPECT_EQ(message("well,target,sample,type,quantity,1,T60\n"),
            path +
                "line 1, column 7: \"T60\" does not match the earlier reading columns (a "
                "table has either cycle, temperature or melting reading columns)");
  EXPECT_EQ(message("well,target,sample,type,quantity,1,2,c2\n"),
            path + "line 1, column 8: \"c2\" appears twice in the header");
  EXPECT_EQ(message("well,target,sample,type,quantity,1,2\nA1,G,s,unkn,,1,2\n\n"
                    "well\ttarget\tsample\ttype\tquantity\t1\n"),
            path +
                "line 4: this header is tab-separated but the file's first header is "
                "comma-separated; a file uses one separator throughout");
  EXPECT_EQ(message("well,target,sample,type,quantity,1\nA1,\"G,s,unkn,,1\n"),
            path + "line 2: a quoted cell opened here is never closed");
}

TEST_F(ReaderTest, TableEncodingsAndWarnings) {
  // UTF-16 with a byte order mark, as spreadsheets save "Unicode text".
  const std::string utf8 =
      "well\ttarget\tsample\ttype\tquantity\t1\t2\t4\nA1\tG\xc3\xa8ne\ts\tunkn\t\t1\t2\t4\n";
  std::string utf16 = "\xff\xfe";
  for (unsigned char c : std::string("well\ttarget\tsample\ttype\tquantity\t1\t2\t4\nA1\tG")) {
    utf16 += static_cast<char>(c);
    utf16 += '\0';
  }
  utf16 += std::string("\xe8\0", 2);  // è
  for (unsigned char c : std::string("ne\ts\tunkn\t\t1\t2\t4\n")) {
    utf16 += static_cast<char>(c);
    utf16 += '\0';
  }
  const Plate fromUtf16 = readPlate(write("unicode.txt", utf16));
  ASSERT_EQ(fromUtf16.reactions.size(), 1u);
  EXPECT_EQ(fromUtf16.reactions[0].target, "G\xc3\xa8ne");
  // Cycles 1, 2, 4: read, with a warning about the gap.
  ASSERT_EQ(fromUtf16.warnings.size(), 1u);
  EXPECT_NE(fromUtf16.warnings[0].find("not cycles 1 to 3 without gaps"), std::string::npos);
  EXPECT_EQ(readPlate(write("utf8.tsv", utf8)).reactions[0].target, "G\xc3\xa8ne");

  // Windows-1252 is converted, with a warning.
  const Plate latin =
      readTable(write("latin.csv", "well,target,sample,type,quantity,1\nA1,G\xe8ne,s,,,1\n"));
  ASSERT_EQ(latin.reactions.size(), 1u);
  EXPECT_EQ(latin.reactions[0].target, "G\xc3\xa8ne");
  ASSERT_EQ(latin.warnings.size(), 1u);
  EXPECT_NE(latin.warnings[0].find("not UTF-8"), std::string::npos);

  const std::string binary = write("nul.csv", std::string("well,target\n\0\0", 14));
  EXPECT_NE(errorOf(readTable, binary).find("line 2: the file holds binary data"),
            std::string::npos);
}

}  // namespace
}  // namespace corvel::tool
