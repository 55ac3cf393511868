// The ratios that the store has to keep, each measured within one run: what against what, and at most
// how many times as long.
#ifndef BENCHMARKS_RATIOS_H
#define BENCHMARKS_RATIOS_H

#include <string>
#include <vector>

#include "Measure.h"
#include "Scenes.h"

/// One row. Its figure is the worst of its scenes.
struct RatioRow {
    std::string subject;
    std::string yardstick;
    double atMost;
    std::string against;  ///< How the yardstick's name begins in each scene.
    std::vector<Scene> scenes;
    Effort effort;
};

/// @param smallDays   days of small railways, for SQLite; where there is none, that row is empty.
/// @param networkDay  a network's.
std::vector<RatioRow> ratioRows(const std::vector<Day>& smallDays, const Day& networkDay);

#endif
