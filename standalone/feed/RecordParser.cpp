#include "feed/RecordParser.h"

#include <simdjson.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

#include "feed/LineReader.h"

namespace pis::feed {

static_assert(LineReader::kPadding >= simdjson::SIMDJSON_PADDING, "the parser reads that far behind a line");

namespace {

namespace dom = simdjson::dom;

/// A line that is no record. Caught where lines are read.
struct Malformed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string inQuotes(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

const char* kindOf(dom::element value) {
    switch (value.type()) {
        case dom::element_type::ARRAY: return "a list";
        case dom::element_type::OBJECT: return "an object";
        case dom::element_type::STRING: return "a text";
        case dom::element_type::BOOL: return "true or false";
        case dom::element_type::NULL_VALUE: return "null";
        default: return "a number";
    }
}

/// A whole number of 32 bits.
int integerFrom(dom::element value, std::string_view key) {
    std::int64_t number = 0;
    const bool whole = value.get(number) == simdjson::SUCCESS;
    if (!whole && !value.is_uint64()) throw Malformed(inQuotes(key) + " must be a whole number");
    if (!whole || number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max()) {
        throw Malformed(inQuotes(key) + " is out of range: -2147483648 to 2147483647");
    }
    return static_cast<int>(number);
}

double secondsFrom(dom::element value) {
    double seconds = 0;
    if (value.get(seconds) != simdjson::SUCCESS) throw Malformed("\"at\" must be a number of seconds");
    const bool isInRange = seconds >= FeedRecord::kEarliestAt && seconds <= FeedRecord::kLatestAt;
    if (!isInRange) throw Malformed("\"at\" is out of range: -62135596800 to 253402300799");
    return seconds;
}

void readFields(dom::element value, FieldTexts& fields) {
    dom::array texts;
    if (value.get(texts) != simdjson::SUCCESS) throw Malformed("\"fields\" must be a list of texts or null");
    for (const dom::element text : texts) {
        std::string_view characters;
        if (text.is_null()) {
            fields.appendMissing();
        } else if (text.get(characters) != simdjson::SUCCESS) {
            throw Malformed("field " + std::to_string(fields.size() + 1) + " is " + kindOf(text) +
                            ": a field is a text or null");
        } else if (characters.find('\0') != std::string_view::npos) {
            throw Malformed("field " + std::to_string(fields.size() + 1) + " holds a NUL character");
        } else {
            fields.append(characters);
        }
    }
}

FeedRecord::Kind snapshotMarkFrom(dom::element value) {
    std::string_view mark;
    if (value.get(mark) == simdjson::SUCCESS) {
        if (mark == "begin") return FeedRecord::SNAPSHOT_BEGIN;
        if (mark == "end") return FeedRecord::SNAPSHOT_END;
    }
    throw Malformed("\"snapshot\" must be \"begin\" or \"end\"");
}

/// The keys of a record, as far as they have been seen in a line.
enum Key : unsigned { AT = 1, UPDATE = 2, DELETE = 4, ID = 8, FIELDS = 16, SNAPSHOT = 32 };

Key keyNamed(std::string_view name) {
    if (name == "at") return AT;
    if (name == "update") return UPDATE;
    if (name == "delete") return DELETE;
    if (name == "id") return ID;
    if (name == "fields") return FIELDS;
    if (name == "snapshot") return SNAPSHOT;
    return Key{};
}

/// What a record must bring besides naming its kind once.
void requireWhole(unsigned seen) {
    const unsigned kind = seen & (UPDATE | DELETE | SNAPSHOT);
    if (kind == 0) throw Malformed("names neither \"update\" nor \"delete\" nor \"snapshot\"");
    if (kind != UPDATE && kind != DELETE && kind != SNAPSHOT) {
        throw Malformed("names more than one of \"update\", \"delete\" and \"snapshot\"");
    }
    if (kind != SNAPSHOT && (seen & ID) == 0) throw Malformed("\"id\" is missing");
    if (kind == UPDATE && (seen & FIELDS) == 0) throw Malformed("\"fields\" is missing");
}

void readRecord(dom::element line, FeedRecord& record) {
    dom::object keys;
    if (line.get(keys) != simdjson::SUCCESS) throw Malformed(std::string("is ") + kindOf(line) + ", not an object");

    record.at.reset();
    record.fields.clear();
    unsigned seen = 0;
    for (const dom::key_value_pair pair : keys) {
        const Key key = keyNamed(pair.key);
        if ((seen & key) != 0) throw Malformed(inQuotes(pair.key) + " stands twice");
        seen |= key;
        switch (key) {
            case AT: record.at = secondsFrom(pair.value); break;
            case UPDATE:
                record.kind = FeedRecord::UPDATE;
                record.type = integerFrom(pair.value, pair.key);
                break;
            case DELETE:
                record.kind = FeedRecord::DELETION;
                record.type = integerFrom(pair.value, pair.key);
                break;
            case ID: record.id = integerFrom(pair.value, pair.key); break;
            case FIELDS: readFields(pair.value, record.fields); break;
            case SNAPSHOT: record.kind = snapshotMarkFrom(pair.value); break;
            default: break;  // keys that are not known are somebody else's
        }
    }
    requireWhole(seen);
}

/// The element type code that a faulty line tells, or 0.
int typeIn(dom::element line) {
    for (const char* key : {"update", "delete"}) {
        std::int64_t type = 0;
        if (line[key].get(type) != simdjson::SUCCESS) continue;
        if (type >= std::numeric_limits<int>::min() && type <= std::numeric_limits<int>::max()) {
            return static_cast<int>(type);
        }
    }
    return 0;
}

/// What the JSON parser found wrong, in words for people.
std::string syntaxFault(std::string_view line, simdjson::error_code code) {
    if (line.find('\0') != std::string_view::npos) return "not JSON: a NUL byte in the line";
    switch (code) {
        case simdjson::UTF8_ERROR: return "not JSON: the text is not UTF-8";
        case simdjson::UNCLOSED_STRING: return "not JSON: a text is not closed";
        case simdjson::UNESCAPED_CHARS: return "not JSON: a control character inside a text";
        case simdjson::STRING_ERROR: return "not JSON: a wrong escape inside a text";
        case simdjson::NUMBER_ERROR: return "not JSON: a number is malformed or too large";
        case simdjson::DEPTH_ERROR: return "not JSON: nested too deep";
        case simdjson::MEMALLOC: throw std::bad_alloc();
        default: return "not JSON: the line is cut short, or a bracket, comma or colon stands wrong";
    }
}

}  // namespace

struct RecordParser::Json {
    dom::parser parser{LineReader::kMaxLine};
};

RecordParser::RecordParser() : _json(std::make_unique<Json>()) {}

RecordParser::~RecordParser() = default;

bool RecordParser::parse(std::string_view line, FeedRecord& record) {
    const bool copiesLine = false;  // the bytes behind it may be read
    return parsed(line, copiesLine, record);
}

bool RecordParser::parseCopy(std::string_view line, FeedRecord& record) {
    if (line.size() > LineReader::kMaxLine) return failed(LineReader::kTooLong, record);
    const bool copiesLine = true;
    return parsed(line, copiesLine, record);
}

bool RecordParser::parsed(std::string_view line, bool copiesLine, FeedRecord& record) {
    dom::element root;
    if (const auto code = _json->parser.parse(line.data(), line.size(), copiesLine).get(root)) {
        return failed(syntaxFault(line, code), record);
    }
    try {
        readRecord(root, record);
        return true;
    } catch (const Malformed& fault) {
        return failed(fault.what(), record, typeIn(root));
    }
}

bool RecordParser::failed(std::string what, FeedRecord& record, int type) {
    _fault = std::move(what);
    record.type = type;
    return false;
}

}  // namespace pis::feed
