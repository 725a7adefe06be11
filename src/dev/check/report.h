// Findings as text and as data for other programs.
#pragma once

#include <string>
#include <vector>

#include "dev/check/finding.h"
#include "dev/page/site.h"

namespace quillet::dev {

// A path as people want to read it: below the working directory relative to it.
[[nodiscard]] std::string shown_path(const std::string &path);

// FILE:LINE:COLUMN: error|warning: MESSAGE [rule], one finding on each line.
[[nodiscard]] std::string report_gcc(const std::vector<finding> &findings);
// The same, each followed by its line and a caret; in color with the escape sequences of terminals.
[[nodiscard]] std::string report_text(const std::vector<finding> &findings, site &files, bool color);
// An array of objects: file, line, column, end_line, end_column, level, rule, message, fixes.
[[nodiscard]] std::string report_json(const std::vector<finding> &findings);
// SARIF 2.1.0 (docs.oasis-open.org/sarif/sarif/v2.1.0).
[[nodiscard]] std::string report_sarif(const std::vector<finding> &findings);

}  // namespace quillet::dev
