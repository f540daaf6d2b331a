#include "browser.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

namespace corvel::test {
namespace {

namespace fs = std::filesystem;

std::string shellQuote(const std::string& text) {
  std::string out = "'";
  for (char c : text) {
    if (c == '\'') {
      out += "'\\''";
    } else {
      out += c;
    }
  }
  return out + "'";
}

// file:// URL of an absolute path, with every byte outside the unreserved
// set percent-encoded.
std::string fileUrl(const fs::path& path) {
  static const char* kHex = "0123456789ABCDEF";
  std::string url = "file://";
  for (unsigned char c : fs::absolute(path).lexically_normal().string()) {
    if (std::isalnum(c) || c == '/' || c == '-' || c == '_' || c == '.' || c == '~') {
      url += static_cast<char>(c);
    } else {
      url += '%';
      url += kHex[c >> 4];
      url += kHex[c & 15];
    }
  }
  return url;
}

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// A new empty directory under the system's temporary folder.
fs::path makeTempDir() {
  std::string pattern = (fs::temp_directory_path() / "corvel-chromium-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) return {};
  return pattern;
}

struct Run {
  bool finished = false;
  std::string out;
  std::string err;
};

// One Chromium run with the fixed flags plus `extra`, limited to
// `timeoutSeconds` by coreutils' timeout, which kills Chromium's whole
// process group when the time is up.
Run runChromium(const std::string& chromium, const std::vector<std::string>& extra,
                const std::string& url, int timeoutSeconds) {
  Run run;
  const fs::path dir = makeTempDir();
  if (dir.empty()) {
    run.err = "cannot create a temporary directory";
    return run;
  }
  const fs::path profile = dir / "profile";
  fs::create_directory(profile);
  const fs::path out = dir / "stdout.txt", err = dir / "stderr.txt";
  std::vector<std::string> args = {chromium,
                                   "--headless",
                                   "--no-sandbox",
                                   "--disable-gpu",
                                   "--disable-quic",
                                   "--no-first-run",
                                   "--disable-background-networking",
                                   "--disable-component-update",
                                   "--disable-sync",
                                   "--user-data-dir=" + profile.string()};
  args.insert(args.end(), extra.begin(), extra.end());
  args.push_back(url);
  std::string command = "timeout -k 5 " + std::to_string(std::max(1, timeoutSeconds)) + " ";
  for (const std::string& a : args) command += shellQuote(a) + " ";
  command += "</dev/null >" + shellQuote(out.string()) + " 2>" + shellQuote(err.string());
  const int status = std::system(command.c_str());
  run.finished = status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  run.out = readFile(out);
  run.err = readFile(err);
  if (status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 124) {
    run.err += "\n(chromium did not finish within " + std::to_string(timeoutSeconds) + " s)\n";
  }
  std::error_code ignored;
  fs::remove_all(dir, ignored);
  return run;
}

bool contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

// Console messages of the page in Chromium's log ("...:CONSOLE:12] "text",
// source: file:///... (12)") and the ones that report an error. Chromium
// logs every console level alike, so errors are told by their text.
void readConsole(const std::string& log, RenderResult& result) {
  std::istringstream lines(log);
  std::string line;
  while (std::getline(lines, line)) {
    const bool console = contains(line, ":CONSOLE");
    if (console) {
      const std::size_t start = line.find("] ");
      result.consoleMessages.push_back(start == std::string::npos ? line : line.substr(start + 2));
    }
    const bool error = contains(line, "Uncaught") || contains(line, "Refused to") ||
                       contains(line, "net::ERR") || contains(line, "ERROR:CONSOLE") ||
                       (console && (contains(line, "Content Security Policy") ||
                                    contains(line, "Failed to load") || contains(line, "Error")));
    if (error) result.consoleErrors.push_back(line);
  }
}

}  // namespace

std::string findChromium() {
  if (const char* env = std::getenv("CORVEL_CHROMIUM"); env != nullptr && *env != '\0') {
    return ::access(env, X_OK) == 0 ? env : "";
  }
  return ::access("/usr/bin/chromium", X_OK) == 0 ? "/usr/bin/chromium" : "";
}

std::string bodyAttribute(const std::string& dom, const std::string& name) {
  const std::size_t body = dom.find("<body");
  if (body == std::string::npos) return "";
  const std::size_t end = dom.find('>', body);
  const std::string tag =
      dom.substr(body, end == std::string::npos ? std::string::npos : end - body);
  const std::string key = " " + name + "=\"";
  const std::size_t at = tag.find(key);
  if (at == std::string::npos) return "";
  const std::size_t from = at + key.size();
  const std::size_t to = tag.find('"', from);
  return tag.substr(from, to == std::string::npos ? std::string::npos : to - from);
}

RenderResult renderHtml(const fs::path& html, const RenderOptions& options) {
  RenderResult result;
  result.chromium = findChromium();
  result.found = !result.chromium.empty();
  if (!result.found) return result;
  std::string url = fileUrl(html);
  if (!options.query.empty()) url += "?" + options.query;
  const std::string budget = "--virtual-time-budget=" + std::to_string(options.virtualTimeBudgetMs);
  const std::string size = std::to_string(options.width);

  // First the document and the console, in a window of the screenshot's
  // width so that the page measures the height it will have there.
  Run dom = runChromium(
      result.chromium,
      {"--enable-logging=stderr", "--v=0", budget, "--dump-dom", "--window-size=" + size + ",1000"},
      url, options.timeoutSeconds);
  result.finished = dom.finished;
  result.dom = dom.out;
  result.log = dom.err;
  readConsole(dom.err, result);
  if (!dom.finished || options.screenshot.empty()) return result;

  int height = options.height;
  if (height <= 0) height = std::atoi(bodyAttribute(result.dom, "data-height").c_str());
  if (height <= 0) height = 2000;
  height = std::clamp(height, 300, 16000);
  std::error_code ignored;
  fs::remove(options.screenshot, ignored);
  Run shot = runChromium(
      result.chromium,
      {budget, "--hide-scrollbars", "--screenshot=" + fs::absolute(options.screenshot).string(),
       "--window-size=" + size + "," + std::to_string(height)},
      url, options.timeoutSeconds);
  result.finished = shot.finished;
  result.log += shot.err;
  if (fs::exists(options.screenshot)) result.screenshot = options.screenshot;
  return result;
}

}  // namespace corvel::test
