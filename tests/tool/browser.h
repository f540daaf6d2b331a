// Renders an HTML file in headless Chromium, for tests of the report: the
// document after its scripts ran, the console messages the page produced
// and, on request, a screenshot.
#ifndef CORVEL_TESTS_TOOL_BROWSER_H
#define CORVEL_TESTS_TOOL_BROWSER_H

#include <filesystem>
#include <string>
#include <vector>

namespace corvel::test {

struct RenderOptions {
  // Where to write a PNG of the page; empty: no screenshot.
  std::filesystem::path screenshot;
  int width = 1400;
  // Height of the screenshot; 0 takes the page's own height from the
  // data-height attribute of <body> when the page sets one.
  int height = 0;
  int timeoutSeconds = 60;
  int virtualTimeBudgetMs = 5000;  // time the page's scripts get to finish
  // Appended to the URL after '?', e.g. "scale=log"; passed through as is.
  std::string query;
};

struct RenderResult {
  bool found = false;     // a Chromium executable was found
  bool finished = false;  // it ran to the end within the timeout
  std::string chromium;   // the executable used
  std::string dom;        // the serialized document after the scripts ran
  // Every console message of the page, and the subset that reports an
  // error: uncaught exceptions, refused or failed loads.
  std::vector<std::string> consoleMessages;
  std::vector<std::string> consoleErrors;
  std::filesystem::path screenshot;  // empty when none was written
  std::string log;                   // Chromium's whole stderr, for diagnostics
};

// $CORVEL_CHROMIUM when set, else /usr/bin/chromium when it exists, else "".
std::string findChromium();

// Opens the file as a file:// URL in headless Chromium with a fresh, empty
// profile and no network services; never waits longer than the timeout.
RenderResult renderHtml(const std::filesystem::path& html, const RenderOptions& options = {});

// The value of attribute `name` on the first <body ...> tag of a DOM dump
// (entities in it are not decoded); "" when absent.
std::string bodyAttribute(const std::string& dom, const std::string& name);

}  // namespace corvel::test

#endif  // CORVEL_TESTS_TOOL_BROWSER_H
