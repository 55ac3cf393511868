// The bytes of an HTTP answer come in as they arrive, Server-Sent Events go out. Each reader has one.
#ifndef BENCHMARKS_SERVE_CHANGESPARSER_H
#define BENCHMARKS_SERVE_CHANGESPARSER_H

#include <cstddef>
#include <string>
#include <string_view>

/// One event; the texts are valid until the next call.
struct StreamEvent {
    std::string_view kind;
    std::string_view id;
    std::string_view data;
};

/// Takes a chunked answer apart. Knows as much of the wire as the service uses: one data line an event,
/// comments, line ends in one character.
class ChangesParser {
public:
    /// Accepts the next bytes. @throws std::runtime_error where the answer is not 200 and chunked, or not
    /// framed as it should be.
    void accept(std::string_view bytes);

    /// The next whole event among what was accepted; false when the rest is still to come.
    bool next(StreamEvent& event);

    /// Whether the last chunk has come.
    bool ended() const { return _state == ENDED; }

private:
    enum State { STATUS, HEADERS, SIZE, DATA, AFTER_DATA, ENDED };

    bool completeLine(std::string_view& bytes);
    void readLine();
    void forgetWhatWasRead();

    State _state = STATUS;
    std::string _line;      // that is coming in
    bool _chunked = false;  // as the headers said
    std::size_t _left = 0;  // bytes of the chunk
    std::string _text;      // what the chunks held
    std::size_t _read = 0;  // of the text
    std::size_t _seen = 0;  // of the text: no event ends before here; not before what was read
};

#endif
