// Positioning updates: numbered pieces of compressed and encoded text come in, the text goes out.
#ifndef PIS_SIMULATOR_POSITIONING_H
#define PIS_SIMULATOR_POSITIONING_H

#include <string>
#include <string_view>
#include <vector>

namespace pis::simulator {

/// Puts one update after the other together: START, DATA and END.
class PositioningReassembly {
public:
    /// What came of a piece.
    struct Result {
        bool accepted = false;
        std::string text;  ///< What was understood, or why the piece is refused.
    };

    /// Adds one operation's text. A refused piece changes nothing, but a refused END ends the update, and a
    /// START begins the next whatever came of the one before.
    Result accept(const std::string& text);

private:
    Result start(std::string_view count);
    Result data(std::string_view piece);
    Result end();

    bool _begun = false;
    std::size_t _expected = 0;
    std::vector<std::string> _pieces;
};

/// What a positioning update holds, as far as the stream goes.
struct PositioningText {
    std::string text;
    bool whole = false;   ///< The stream came to its end.
    std::string damaged;  ///< Why it cannot be read further; empty when nothing is wrong.
};

/// Decodes base64 and inflates. The wire may cut the stream short at a zero byte: then it is not whole.
PositioningText inflated(const std::string& encoded);

}  // namespace pis::simulator

#endif
