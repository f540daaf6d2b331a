// The plate as the tool reads it from a file: every reaction (one well
// measured for one target) with its sample, its amplification readings and
// its melting readings, exactly as the file gives them. Nothing here is
// analysed or corrected; readers fill it, the analysis reads it.
#ifndef CORVEL_TOOL_PLATE_H
#define CORVEL_TOOL_PLATE_H

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace corvel::tool {

// A file that cannot be read as a plate. The message names the file, the
// place in it (an element path or a line number) and what was wrong, e.g.
// "plate.rdml: <react id=\"12\">/<data>/<adp>: malformed number in <fluor>: 1.2.3".
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One reaction: a well of a run, measured for one target.
struct Reaction {
  std::string run;         // run id, unique within the plate ("experiment/run" for RDML)
  std::string well;        // position, e.g. "B7" (the bare id when no plate format is known)
  int wellNumber = 0;      // 1-based position number, row by row (0 when unknown)
  std::string target;      // target (gene) name
  std::string sample;      // sample name
  std::string sampleType;  // unkn, std, ntc, nac, ntp, nrt, pos, opt ("unkn" when not given)
  std::optional<double> quantity;      // starting quantity of standards
  std::string quantityUnit;            // e.g. "cop" ("" when not given)
  std::optional<double> instrumentCq;  // the file's own Cq, when it has one (never negative)

  // Amplification readings in file order: cycle numbers and fluorescence.
  std::vector<double> cycles;
  std::vector<double> fluorescence;
  // Melting readings in file order: temperatures (°C) and fluorescence.
  // Real runs may start with a few readings at falling temperature and are
  // often unevenly spaced.
  std::vector<double> temperatures;
  std::vector<double> meltFluorescence;

  std::string origin;  // where it was read, for messages: "<react id=\"B7\">" or "line 14"
};

// A reaction the reader met but could not take, with the reason; the plate
// is read on without it.
struct SkippedReaction {
  std::string run;
  std::string well;
  std::string target;
  std::string reason;
};

struct Run {
  std::string id;          // as in Reaction::run
  std::string instrument;  // instrument name, when the file gives it
  int rows = 0;            // plate format, 0 when unknown
  int columns = 0;
  std::string background;  // how the instrument treated the background, when the file says
};

struct Plate {
  std::string path;    // the file as named on the command line
  std::string format;  // "RDML 1.4", "CSV", "TSV", ...
  std::vector<Run> runs;
  std::vector<Reaction> reactions;
  std::vector<SkippedReaction> skipped;
  std::vector<std::string> warnings;  // things read but worth telling the user
};

// Reads a plate file, choosing the reader by content: an RDML document
// (zip archive or plain XML) or a CSV/TSV table in the tool's layout.
// Throws InputError when the file cannot be read as a plate at all.
Plate readPlate(const std::string& path);

// The readers themselves, for callers that know the format.
Plate readRdml(const std::string& path);
Plate readTable(const std::string& path);

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_PLATE_H
