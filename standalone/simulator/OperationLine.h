// Operations as they come in over a connection: {"operation":21,"text":"3,North,N"}, one a line.
#ifndef PIS_SIMULATOR_OPERATIONLINE_H
#define PIS_SIMULATOR_OPERATIONLINE_H

#include <string>
#include <string_view>

namespace pis::simulator {

struct OperationLine {
    int operation;
    std::string text;
};

/// Reads a line without its end. Keys that are not known are passed over.
/// @throws std::invalid_argument with a message for people when it is none.
OperationLine parseOperationLine(std::string_view line);

}  // namespace pis::simulator

#endif
