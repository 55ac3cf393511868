#include "base/Output.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "base/Numbers.h"

namespace pis::base {

namespace {

int outputError = 0;  // of the first write to standard output that failed

void flushOutput() {
    if (std::fflush(stdout) != 0 && outputError == 0) outputError = errno;
}

}  // namespace

void print(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) < text.size() && outputError == 0) outputError = errno;
}

void printLine(std::string_view line) {
    print(line);
    print("\n");
}

void remark(std::string_view text) {
    flushOutput();
    std::fwrite(text.data(), 1, text.size(), stderr);
}

void reportFault(std::string_view fault) {
    remark(onOneLine(fault) + "\n");
}

void complain(std::string_view what) {
    remark("pis: " + onOneLine(what) + "\n");
}

bool finishOutput() {
    flushOutput();
    if (outputError == 0) return true;
    complain("cannot write to standard output: " + std::generic_category().message(outputError));
    return false;
}

std::string onOneLine(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7f) {
            line += "\\x" + inHex(byte, 2);
        } else {
            line += character;
        }
    }
    return line;
}

std::string quoted(std::string_view text) {
    constexpr std::size_t kLongest = 60;  // bytes
    if (text.size() <= kLongest) return "\"" + onOneLine(text) + "\"";
    std::size_t length = kLongest;
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xc0U) == 0x80U) --length;  // whole characters
    return "\"" + onOneLine(text.substr(0, length)) + "...\"";
}

}  // namespace pis::base
