// What was measured, as a table, and held against the limits.
#pragma once

#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "bench/bench.h"

namespace bench {

// Keeps the least time of each benchmark: whatever disturbs a repetition makes it longer.
class Report : public benchmark::BenchmarkReporter {
public:
  bool ReportContext(const Context &) override { return true; }
  void ReportRuns(const std::vector<Run> &runs) override;

  // Nanoseconds for one operation; a column that does not have the row gives NaN.
  double time(const Row &row, const char *column) const;
  bool complete() const { return !failed_; }

  double plugin(const Row &row) const { return time(row, "plugin"); }
  double host(const Row &row) const { return row.running ? time(row, "host") : 0; }
  // The plug-in without the host's share, as a multiple of another column.
  double ratioTo(const Row &row, const char *column) const {
    return (plugin(row) - host(row)) / time(row, column);
  }

  // As Markdown; rows that were not measured are left out.
  void print() const;

private:
  std::map<std::string, double> times_; // by "row/column"
  bool failed_ = false;
};

// The largest ratios that are let pass, by row.
class Limits {
public:
  // Lines of "row, ratio to the C API, ratio to pybind11"; "-" is no limit. A file that cannot be
  // read or names another row ends the program.
  explicit Limits(const char *path);

  // What a row exceeds, for a reader; empty when it is nothing.
  std::string exceeded(const Report &report, const Row &row) const;

private:
  struct Limit {
    double toCApi;
    double toPybind11;
  };
  std::map<std::string, Limit, std::less<>> limits_;
};

} // namespace bench
