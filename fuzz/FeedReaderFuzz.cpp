// In goes a file, compressed or not. Every line of it must come out as a record, be blank, or be named by
// its number in a fault, one after the other, up to where a compressed file is damaged, which must be
// named, too; and the records written as lines must read back equal.
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "FuzzCheck.h"
#include "feed/FeedReader.h"
#include "feed/FeedWriter.h"

namespace {

constexpr std::size_t kMaxLine = std::size_t{1} << 20;

/// A file that stands in memory alone.
class MemoryFile {
public:
    explicit MemoryFile(const std::string& contents) : _descriptor(memfd_create("feed", MFD_CLOEXEC)) {
        std::size_t written = 0;
        while (written < contents.size()) {
            const ssize_t more = write(_descriptor, &contents[written], contents.size() - written);
            if (more <= 0) throw std::runtime_error("no memory for a file");
            written += static_cast<std::size_t>(more);
        }
    }
    ~MemoryFile() { close(_descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(_descriptor); }

private:
    int _descriptor;
};

/// What stands in a file, unpacked where it is compressed.
struct Contents {
    std::string bytes;
    bool whole;  // false when it is cut short or damaged behind these bytes
};

Contents contentsOf(const std::string& file) {
    if (file.compare(0, 2, "\x1f\x8b") != 0) return {file, true};

    Contents contents{"", false};
    z_stream stream{};
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(file.data()));
    stream.avail_in = static_cast<uInt>(file.size());
    require(inflateInit2(&stream, MAX_WBITS + 16) == Z_OK, "the check itself cannot unpack");
    std::string unpacked(1 << 16, ' ');
    int code = Z_OK;
    do {
        if (code == Z_STREAM_END) inflateReset(&stream);  // another member follows
        stream.next_out = reinterpret_cast<Bytef*>(&unpacked[0]);
        stream.avail_out = static_cast<uInt>(unpacked.size());
        code = inflate(&stream, Z_NO_FLUSH);
        contents.bytes.append(unpacked, 0, unpacked.size() - stream.avail_out);
        contents.whole = code == Z_STREAM_END && stream.avail_in == 0;
    } while ((code == Z_OK || code == Z_STREAM_END) && !contents.whole);
    inflateEnd(&stream);
    return contents;
}

/// What the reader makes of a file.
struct Reading {
    struct Step {
        std::size_t line;  // as the reader names it
        bool isRecord;
        pis::feed::FeedRecord record;
    };
    std::vector<Step> steps;
    std::size_t unreadableFrom = 0;  // the line that the reader names; 0 when it read to the end
};

/// The line number in a text that must begin with "PATH:LINE" and go on with `behind`.
std::size_t lineNamed(const std::string& text, const std::string& path, const char* behind) {
    require(text.compare(0, path.size() + 1, path + ":") == 0, "the file is not named: " + text);
    char* end = nullptr;
    const std::size_t line = std::strtoul(&text[path.size() + 1], &end, 10);
    require(std::strncmp(end, behind, std::strlen(behind)) == 0, "the line is not named: " + text);
    return line;
}

std::size_t lineOfFault(const pis::feed::FeedReader& reader, const std::string& path) {
    const std::size_t line = lineNamed(reader.fault(), path, ": ");
    require(reader.fault().back() != ' ', "the fault says nothing: " + reader.fault());
    return line;
}

Reading readingOf(const MemoryFile& file) {
    Reading reading;
    pis::feed::FeedReader reader(file.path());
    pis::feed::FeedRecord record;
    std::size_t line = 0;
    while (true) {
        const pis::feed::FeedReader::Next next = reader.next(record);
        if (next == pis::feed::FeedReader::Next::END) return reading;
        const bool isRecord = next == pis::feed::FeedReader::Next::RECORD;
        const std::size_t named =
            isRecord ? lineNamed(reader.place(), file.path(), "") : lineOfFault(reader, file.path());
        require(named > line, "line " + std::to_string(named) + " comes behind line " + std::to_string(line));
        if (next == pis::feed::FeedReader::Next::UNREADABLE) {
            reading.unreadableFrom = named;
            return reading;
        }
        line = named;
        reading.steps.push_back({line, isRecord, record});
    }
}

/// Compares a reading with the file's lines as they are cut here. A line that damage cuts short is none.
void checkLines(const Reading& reading, Contents contents) {
    std::string& bytes = contents.bytes;
    if (!contents.whole) bytes.erase(bytes.rfind('\n') + 1);
    const auto lines = static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n'));
    require(reading.unreadableFrom == (contents.whole ? 0 : lines + 1),
            "unreadable from line " + std::to_string(reading.unreadableFrom));
    if (bytes.compare(0, 3, "\xef\xbb\xbf") == 0) bytes.erase(0, 3);

    auto step = reading.steps.begin();
    std::size_t number = 0;
    for (std::size_t begin = 0; begin < bytes.size();) {
        const std::size_t end = std::min(bytes.find('\n', begin), bytes.size());
        const std::string line = bytes.substr(begin, end - begin);
        begin = end + 1;
        ++number;

        const bool isLong = line.size() > kMaxLine;
        const std::string where = "line " + std::to_string(number) + ": " + line.substr(0, 200);
        if (!isLong && line.find_first_not_of(" \t\r") == std::string::npos) continue;
        require(step != reading.steps.end(), "neither record nor fault for " + where);
        require(step->line == number, "line " + std::to_string(step->line) + " is named and not " + where);
        require(!step->isRecord || !isLong, "too long and yet a record: " + where);
        require(!step->isRecord || line.find('{') != std::string::npos, "a record out of " + where);
        ++step;
    }
    require(step == reading.steps.end(), "more records or faults than lines");
}

bool sameFields(const pis::feed::FieldTexts& one, const pis::feed::FieldTexts& other) {
    if (one.size() != other.size()) return false;
    for (std::size_t i = 0; i < one.size(); ++i) {
        if ((one[i] == nullptr) != (other[i] == nullptr)) return false;
        if (one[i] != nullptr && std::strcmp(one[i], other[i]) != 0) return false;
    }
    return true;
}

bool same(const pis::feed::FeedRecord& one, const pis::feed::FeedRecord& other) {
    if (one.kind != other.kind || one.at != other.at) return false;
    const bool isMark =
        one.kind == pis::feed::FeedRecord::SNAPSHOT_BEGIN || one.kind == pis::feed::FeedRecord::SNAPSHOT_END;
    if (!isMark && (one.type != other.type || one.id != other.id)) return false;
    return one.kind != pis::feed::FeedRecord::UPDATE || sameFields(one.fields, other.fields);
}

/// Writes the records as lines and reads them again.
void checkThereAndBack(const Reading& reading) {
    std::vector<const pis::feed::FeedRecord*> records;
    std::vector<std::string> lines;
    std::string contents;
    for (const Reading::Step& step : reading.steps) {
        if (!step.isRecord) continue;
        records.push_back(&step.record);
        lines.push_back(toJsonLine(step.record));
        require(lines.back().find('\n') == std::string::npos, "a record on several lines: " + lines.back());
        contents += lines.back() + "\n";
    }
    if (records.empty()) return;

    const Reading again = readingOf(MemoryFile(contents));
    require(again.unreadableFrom == 0 && again.steps.size() == records.size(),
            "as many records as were written: " + contents);
    for (std::size_t i = 0; i < records.size(); ++i) {
        const std::string line = lines[i].substr(0, 1000);
        require(again.steps[i].isRecord, "written and not read: " + line);
        require(same(again.steps[i].record, *records[i]), "written as " + line + " and read otherwise");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string file = textOf(data, size);
    const Reading reading = readingOf(MemoryFile(file));
    checkLines(reading, contentsOf(file));
    checkThereAndBack(reading);
    return 0;
}
