// Shows what a constructor leaves without a value.
#ifndef TESTS_SUPPORT_BUILTOVERONES_H
#define TESTS_SUPPORT_BUILTOVERONES_H

#include <cstring>
#include <new>
#include <string>

#include "Describe.h"

/// Describes a record that was built in memory full of ones, so that a member without a value shows.
template <typename Record, typename... Argument>
std::string builtOverOnes(Argument... arguments) {
    alignas(Record) unsigned char memory[sizeof(Record)];
    std::memset(memory, 0xff, sizeof memory);
    auto* record = new (memory) Record(arguments...);
    std::string description = describe(*record);
    record->~Record();
    return description;
}

#endif
