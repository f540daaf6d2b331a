// corvel: qPCR plate analysis on the command line.
//
//   corvel analyze PLATE... [--out DIR] [--threshold X] [--reference GENE]...
//                  [--calibrator SAMPLE] [--format csv|json|html]... [options]
//   corvel --help | --version
//
// Each plate is read, analysed with the CorvelAlg library and written to
// DIR/<plate name>/; a summary of each goes to stdout. Plates are
// independent and are analysed in parallel threads.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "CorvelAlg.h"
#include "analysis.h"
#include "csv_writer.h"
#include "html_report.h"
#include "json_writer.h"
#include "parallel.h"
#include "plate.h"
#include "progress.h"
#include "summary.h"

namespace fs = std::filesystem;
using namespace corvel::tool;

namespace {

// Exit statuses.
constexpr int kExitOk = 0;
constexpr int kExitPlateFailed = 1;  // at least one plate could not be read or written
constexpr int kExitUsage = 2;        // the command line is wrong

struct Job {
  std::string path;
  fs::path outDir;
  std::string summary;  // printed when all plates are done
  std::string error;    // empty when the plate went through
};

void writeFile(const fs::path& file, const std::function<void(std::ostream&)>& write) {
  std::ofstream out(file, std::ios::binary);
  if (!out) throw std::runtime_error(file.string() + ": cannot create the file");
  write(out);
  out.flush();
  if (!out) throw std::runtime_error(file.string() + ": cannot write the file");
}

void runJob(Job& job, const AnalysisOptions& options, const std::set<std::string>& formats,
            Progress& progress) {
  try {
    const Plate plate = readPlate(job.path);
    progress.addWork(analysisWork(plate, options));
    const PlateResult result =
        analyzePlate(plate, options, [&](std::size_t units) { progress.advance(units); });
    std::error_code ec;
    fs::create_directories(job.outDir, ec);
    if (ec)
      throw std::runtime_error(job.outDir.string() + ": cannot create the folder (" + ec.message() +
                               ")");
    std::vector<std::string> written;
    if (formats.count("csv")) {
      writeCsvTables(result, job.outDir);
      written.insert(written.end(),
                     {"wells.csv", "standard_curves.csv", "quantities.csv", "melting_peaks.csv"});
    }
    if (formats.count("json")) {
      writeFile(job.outDir / "results.json", [&](std::ostream& o) { writeJson(result, o); });
      written.push_back("results.json");
    }
    if (formats.count("html")) {
      writeFile(job.outDir / "report.html", [&](std::ostream& o) { writeHtmlReport(result, o); });
      written.push_back("report.html");
    }
    job.summary = plateSummary(result);
    job.summary += "  written to " + job.outDir.string() + "/:";
    for (const std::string& name : written) job.summary += " " + name;
    job.summary += "\n";
    if (formats.count("html"))
      job.summary += "  report: " + fs::absolute(job.outDir / "report.html").string() + "\n";
  } catch (const std::exception& e) {
    job.error = e.what();
  }
}

// DIR/<file name without extension>, made unique when two plates share a name.
std::vector<fs::path> outputFolders(const std::vector<std::string>& plates, const fs::path& out) {
  std::map<std::string, int> seen;
  std::vector<fs::path> folders;
  for (const std::string& p : plates) {
    std::string stem = fs::path(p).stem().string();
    if (stem.empty()) stem = "plate";
    const int n = ++seen[stem];
    folders.push_back(out / (n == 1 ? stem : stem + "-" + std::to_string(n)));
  }
  return folders;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"corvel - qPCR plate analysis with the CorvelAlg library"};
  app.set_version_flag("--version", std::string("corvel ") + CORVELALG_VERSION_STRING +
                                        " (CorvelAlg library " + version() + ")");
  app.require_subcommand(1);

  CLI::App* analyze = app.add_subcommand(
      "analyze",
      "Analyse plate files (RDML 1.0-1.4, zipped or plain; CSV/TSV in corvel's layout): Ct by the "
      "linear and the sigmoid method, standard curves, relative quantities, melting peaks.");
  std::vector<std::string> plates;
  std::string out = "corvel-results";
  std::optional<double> threshold;
  AnalysisOptions options;
  std::vector<std::string> formats{"csv", "json", "html"};
  std::string errorBar = "t";
  std::string confidence = "95";
  unsigned jobs = 0;
  bool quiet = false;
  bool noMelting = false;

  analyze->add_option("PLATE", plates, "Plate files to analyse")
      ->required()
      ->check(CLI::ExistingPath);
  analyze
      ->add_option("-o,--out", out,
                   "Folder for the results; each plate gets a subfolder named after its file")
      ->capture_default_str();
  analyze
      ->add_option("-t,--threshold", threshold,
                   "Fixed fluorescence threshold for the linear Ct, in the file's units "
                   "(default: the automatic threshold of each run and target)")
      ->check(CLI::PositiveNumber);
  analyze
      ->add_option("-r,--reference", options.referenceGenes,
                   "Reference (housekeeping) gene for relative quantities; repeat for several")
      ->take_all();
  analyze->add_option("-c,--calibrator", options.calibrator,
                      "Calibrator sample: relative quantities are 1 there");
  analyze->add_option("-f,--format", formats, "Outputs to write: csv, json, html (default: all)")
      ->check(CLI::IsMember({"csv", "json", "html"}))
      ->delimiter(',');
  analyze
      ->add_option("--error-bar", errorBar,
                   "Error bar of relative quantities: t (Student t interval of the standard "
                   "error) or sd (a multiple of the standard deviation)")
      ->check(CLI::IsMember({"t", "sd"}))
      ->capture_default_str();
  analyze->add_option("--confidence", confidence, "Confidence of the t interval, in percent")
      ->check(CLI::IsMember({"95", "97", "99", "99.5", "99.7", "99.9"}))
      ->capture_default_str();
  analyze->add_option("--sd-multiple", options.sdMultiple, "k of the k x SD error bar")
      ->check(CLI::Range(0, 10))
      ->capture_default_str();
  analyze
      ->add_option("--peak-width", options.peakWidth,
                   "Expected width of a melting peak (standard deviation of a Gaussian), "
                   "in degrees C")
      ->check(CLI::Range(0.05, 10.0))
      ->capture_default_str();
  analyze
      ->add_option("--min-peak-height", options.minPeakHeight,
                   "Smallest melting peak kept, as a fraction of the tallest value of the "
                   "normalized derivative curve")
      ->check(CLI::Range(0.0, 1.0))
      ->capture_default_str();
  analyze
      ->add_option("--min-peak-fwhm", options.minPeakFwhm,
                   "Narrowest plausible melting peak, full width at half maximum in degrees C")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  analyze
      ->add_option("--max-peak-fwhm", options.maxPeakFwhm,
                   "Widest plausible melting peak, full width at half maximum in degrees C")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  analyze->add_flag("--no-melting", noMelting, "Skip the melting analysis");
  std::string scale = "auto";
  analyze
      ->add_option("--scale", scale,
                   "Multiply the fluorescence by this power of ten before the analysis, or "
                   "'auto' to choose it from the data (see docs/units.md)")
      ->capture_default_str();
  std::string cqMethod = "linear";
  analyze
      ->add_option("--cq-method", cqMethod,
                   "Cq used by the standard curves, relative quantities and replicate checks: "
                   "linear (threshold crossing) or sigmoid (logistic fit); both are reported")
      ->check(CLI::IsMember({"linear", "sigmoid"}))
      ->capture_default_str();
  std::string rqMethod = "ddct";
  analyze
      ->add_option("--rq-method", rqMethod,
                   "Relative quantities: ddct (every target doubles per cycle) or pfaffl (each "
                   "target's efficiency from its standard curve)")
      ->check(CLI::IsMember({"ddct", "pfaffl"}))
      ->capture_default_str();
  std::vector<double> tmWindow;
  analyze
      ->add_option("--tm-window", tmWindow,
                   "Expected Tm range of the product, MIN,MAX in degrees C; peaks outside it "
                   "are flagged")
      ->expected(2)
      ->delimiter(',');
  analyze->add_option("-j,--jobs", jobs,
                      "Threads: plates, and the melting curves of a plate, analysed at the same "
                      "time (default: one per processor core)");
  analyze->add_flag("-q,--quiet", quiet, "No progress bar on stderr");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int status = app.exit(e);
    return e.get_exit_code() == 0 ? status : kExitUsage;
  }

  options.threshold = threshold;
  options.errorBar = errorBar == "t" ? 1 : 2;
  static const std::vector<std::string> levels{"95", "97", "99", "99.5", "99.7", "99.9"};
  options.confidenceIndex =
      static_cast<int>(std::find(levels.begin(), levels.end(), confidence) - levels.begin());
  options.melting = !noMelting;
  options.cqMethod = cqMethod == "sigmoid" ? CqMethod::sigmoid : CqMethod::linear;
  options.rqMethod = rqMethod == "pfaffl" ? RqMethod::pfaffl : RqMethod::deltaDeltaCt;
  if (scale != "auto") {
    char* end = nullptr;
    const double factor = std::strtod(scale.c_str(), &end);
    const double exponent = std::log10(factor);
    if (end == scale.c_str() || *end != '\0' || !(factor > 0) || !std::isfinite(factor) ||
        std::fabs(exponent - std::round(exponent)) > 1e-9 || std::fabs(exponent) > 12) {
      std::cerr << "corvel: --scale must be 'auto' or a power of ten from 1e-12 to 1e12, not '"
                << scale << "'\n";
      return kExitUsage;
    }
    options.scale = std::pow(10.0, std::round(exponent));
  }
  if (!tmWindow.empty()) {
    if (!(tmWindow[0] < tmWindow[1])) {
      std::cerr << "corvel: --tm-window needs MIN,MAX with MIN below MAX\n";
      return kExitUsage;
    }
    options.tmMin = tmWindow[0];
    options.tmMax = tmWindow[1];
  }
  if (options.minPeakFwhm > options.maxPeakFwhm) {
    std::cerr << "corvel: --min-peak-fwhm (" << options.minPeakFwhm
              << ") is larger than --max-peak-fwhm (" << options.maxPeakFwhm << ")\n";
    return kExitUsage;
  }
  const std::set<std::string> chosen(formats.begin(), formats.end());

  std::vector<Job> work(plates.size());
  const std::vector<fs::path> folders = outputFolders(plates, out);
  for (std::size_t i = 0; i < plates.size(); ++i) {
    work[i].path = plates[i];
    work[i].outDir = folders[i];
  }

  // Plates run in parallel; the threads left over go to the wells of each.
  const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
  const unsigned budget = jobs > 0 ? jobs : cores;
  const std::size_t threads = std::min<std::size_t>(plates.size(), budget);
  options.threads = std::max(1u, budget / static_cast<unsigned>(threads));
  // Counted in wells, announced as each plate is read.
  Progress progress("analysing", 0, !quiet && stderrIsTerminal());
  forEachInParallel(work.size(), threads,
                    [&](std::size_t i) { runJob(work[i], options, chosen, progress); });
  progress.finish();

  int status = kExitOk;
  for (const Job& job : work) {
    if (job.error.empty()) {
      std::cout << job.summary;
    } else {
      std::cerr << "corvel: " << job.error << "\n";
      status = kExitPlateFailed;
    }
  }
  return status;
}
