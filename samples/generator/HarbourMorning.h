// The sample feed: a morning of a harbour railway that exists nowhere, as its signalling side would
// report it. The generator and the tests take their records from here.
#ifndef SAMPLES_HARBOURMORNING_H
#define SAMPLES_HARBOURMORNING_H

#include <functional>

#include "FeedRecord.h"

/// Runs the morning and hands out its records in order of time, the same ones on every machine.
/// What `emit` throws ends the morning and passes through.
void harbourMorning(const std::function<void(const FeedRecord&)>& emit);

#endif
