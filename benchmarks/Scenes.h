// Every case that is measured, with its yardsticks.
#ifndef BENCHMARKS_SCENES_H
#define BENCHMARKS_SCENES_H

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "Day.h"
#include "LargeRailway.h"
#include "Measure.h"

/// What of a handler is measured.
enum class Change {
    NEW,      ///< An unknown id: the record goes to the end of the table, and by hand out of it again.
    CHANGED,  ///< A known one, whose fields differ from what is stored.
    UNCHANGED
};

/// Updates of one type in tables of one size, delivered one after the other. What is known lies scattered
/// over its table. An unchanged record is measured against the loop by hand, save for trips.
Scene handlerScene(Change change, int type, std::size_t size, Texts texts, std::size_t observers);

/// A copy of a table through its getter, and the bare copy of the vector.
Scene getterScene(int type, std::size_t size, Texts texts);

constexpr std::array<const char*, 3> kPlaces{"front", "middle", "back"};

/// Deletion of one element at one of these places, and the bare loop over the ids with the bare erase.
Scene deletionScene(const std::string& place, int type, std::size_t size);

/// Deletion of all elements of a type. Against it for stops a pass over the ids and `clear()`, for the
/// others the erase of one after the other from the front with an event call each.
Scene clearingScene(int type, std::size_t size);

/// Deletion of every element of every table.
Scene deletionOfEverything(std::size_t size);

/// A whole day with one observer, from an empty store, and its yardsticks: bare loops, bare loops and
/// copies, unordered_map, and natively SQLite. The day must outlive the scene.
Scene dayScene(const Day& day);

/// All of them but the days, in combinations that show something and end within a minute or so.
std::vector<Scene> scenesOfHandlersAndTables();

#endif
