// The fuzzer's bytes as choices and texts. Numbers are taken from the end of the bytes and texts from their front.
#ifndef FUZZ_INPUT_H
#define FUZZ_INPUT_H

#include <fuzzer/FuzzedDataProvider.h>

#include <string>

class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : _bytes(data, size) {}

    bool isAtEnd() { return _bytes.remaining_bytes() == 0; }

    /// From 1 to `most`; the latter at the end of the input.
    int upTo(int most) { return most + 1 - _bytes.ConsumeIntegralInRange(1, most); }

    bool once(int in) { return upTo(in) == 1; }

    template <typename Number>
    Number any() {
        return _bytes.ConsumeIntegral<Number>();
    }

    std::string text(std::size_t most) { return _bytes.ConsumeRandomLengthString(most); }

private:
    FuzzedDataProvider _bytes;
};

#endif
