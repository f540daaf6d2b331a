// A small reader of RDML files (real-time PCR data markup) for tests that run
// the library on real plates. It reads the amplification and melting data of
// every reaction; most metadata are ignored.
#ifndef CORVEL_TESTS_SUPPORT_RDML_READER_H
#define CORVEL_TESTS_SUPPORT_RDML_READER_H

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace corvel::test {

// One reaction (well) measured for one target.
struct RdmlReaction {
  std::string run;                                // "experiment/run", unique within the file
  int wellId = 0;                                 // the reaction id, 1-based, row by row
  std::string well;                               // position from the run's pcrFormat, e.g. "B7"
  std::string target;                             // target id
  std::string sample;                             // sample id
  std::string sampleType;                         // unkn, std, ntc, ... ("" when not given)
  std::optional<double> quantity;                 // standards' quantity
  std::vector<std::pair<double, double>> points;  // (cycle, fluorescence) by cycle
  std::optional<double> cq;                       // the instrument's Cq
  // (temperature, fluorescence) in file order, unsorted: real runs may
  // start with a few readings at falling temperature.
  std::vector<std::pair<double, double>> meltPoints;
};

// Reads an RDML file: a zip archive holding rdml_data.xml, or the plain XML
// document itself. Throws std::runtime_error naming the file and the problem
// when the file cannot be opened or parsed, or a number in it is malformed.
std::vector<RdmlReaction> readRdml(const std::string& path);

// The folder of real RDML files: $CORVEL_DATA_DIR when set, otherwise the
// shared data folder beside the source tree.
std::filesystem::path dataDirectory();

}  // namespace corvel::test

#endif  // CORVEL_TESTS_SUPPORT_RDML_READER_H
