// What the reports have in common: figures of a run come in (see Results.h), tables of a Markdown file go out.
#ifndef BENCHMARKS_FIGURES_H
#define BENCHMARKS_FIGURES_H

#include <map>
#include <string>
#include <vector>

using Values = std::vector<std::string>;

/// The lines of one run by kind, without the kind.
using Run = std::map<std::string, std::vector<Values>>;

/// Stands in a table where there is no figure.
constexpr const char* kNone = "–";

Values split(const std::string& text, char separator);

/// The figures in a file; none where there is no such file.
Run readRun(const std::string& path);

const std::vector<Values>& linesOf(const Run& run, const std::string& kind);

std::string fixed(double value, int digits);
std::string withThousands(double value);

/// Three digits that count, at least.
std::string shortly(double value);

std::string tableRow(const Values& cells);
std::string tableHead(const Values& cells);

/// What was measured on, as a list.
std::string facts(const Run& run);

/// @throws std::runtime_error where it cannot be read.
std::string readFile(const std::string& path);

/// Replaces what stands between the two lines of a file that begin "<!-- figures: ".
/// @throws std::runtime_error where they are missing or the file cannot be written.
void rewrite(const std::string& path, const std::string& figures);

#endif
