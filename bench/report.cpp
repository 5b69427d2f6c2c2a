#include "bench/report.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <sstream>

namespace bench {
namespace {

// At least three digits, in groups, and a dash for what there is not.
std::string shown(double value) {
  if (std::isnan(value))
    return "–";
  char digits[64];
  std::snprintf(digits, sizeof digits, value < 10 ? "%.2f" : value < 100 ? "%.1f" : "%.0f", value);
  std::string text(digits);
  if (value >= 1000)
    for (std::size_t i = text.size(); i > 3; i -= 3)
      text.insert(i - 3, ",");
  return text;
}

} // namespace

void Report::ReportRuns(const std::vector<Run> &runs) {
  for (const Run &run : runs) {
    const std::string &name = run.run_name.function_name;
    if (run.error_occurred) {
      std::fprintf(stderr, "quillix-bench: %s: %s\n", name.c_str(), run.error_message.c_str());
      failed_ = true;
    } else if (run.run_type == Run::RT_Iteration) {
      const bool isManual = !run.run_name.time_type.empty();
      const double time = isManual ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
      const auto [known, isNew] = times_.emplace(name, time);
      known->second = std::min(known->second, time);
    }
  }
}

double Report::time(const Row &row, const char *column) const {
  const auto found = times_.find(std::string(row.name) + "/" + column);
  return found == times_.end() ? std::numeric_limits<double>::quiet_NaN() : found->second;
}

void Report::print() const {
  std::puts("| nanoseconds for one operation | plug-in | C API | pybind11 | host's share "
            "| plug-in / C API | plug-in / pybind11 | without the host's share / C API "
            "| without the host's share / pybind11 |\n"
            "|---|---:|---:|---:|---:|---:|---:|---:|---:|");
  for (const Row &row : kRows) {
    if (std::isnan(plugin(row)))
      continue;
    const double cApi = time(row, "capi");
    const double pybind11 = time(row, "pybind11");
    const double hostShare = row.running ? host(row) : std::numeric_limits<double>::quiet_NaN();
    std::printf("| %s |", row.title);
    for (const double value :
         {plugin(row), cApi, pybind11, hostShare, plugin(row) / cApi, plugin(row) / pybind11,
          ratioTo(row, "capi"), ratioTo(row, "pybind11")})
      std::printf(" %s |", shown(value).c_str());
    std::puts("");
  }
}

Limits::Limits(const char *path) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string row, toCApi, toPybind11;
    if (line.starts_with('#') || !(words >> row >> toCApi >> toPybind11))
      continue;
    const auto limit = [](const std::string &text) {
      return text == "-" ? std::numeric_limits<double>::infinity() : std::stod(text);
    };
    limits_[rowOf(row).name] = {limit(toCApi), limit(toPybind11)};
  }
  if (limits_.empty()) {
    std::fprintf(stderr, "quillix-bench: no limits in %s\n", path);
    std::exit(2);
  }
}

std::string Limits::exceeded(const Report &report, const Row &row) const {
  const auto found = limits_.find(row.name);
  if (found == limits_.end())
    return {};
  std::string text;
  const auto hold = [&](double ratio, double limit, const char *to) {
    if (ratio > limit)
      text += std::string(text.empty() ? "" : ", ") + shown(ratio) + " times " + to + " (limit " +
              shown(limit) + ")";
  };
  hold(report.ratioTo(row, "capi"), found->second.toCApi, "the C API");
  hold(report.ratioTo(row, "pybind11"), found->second.toPybind11, "pybind11");
  return text;
}

} // namespace bench
