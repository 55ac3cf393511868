// bench-json-readers OUTPUT: a network's day, line by line out of memory, into feed records: once with
// simdjson's document parser, as the feed reader does it, once with Boost.JSON. The project keeps the faster.
#include <simdjson.h>

#include <array>
#include <boost/json/monotonic_resource.hpp>
#include <boost/json/parser.hpp>
#include <cstdio>
#include <stdexcept>

#include "Day.h"
#include "Measure.h"
#include "Results.h"
#include "feed/FeedWriter.h"

using namespace pis::feed;

namespace {

constexpr int kCopies = 40;
constexpr Effort kEffort{0, 10, 20.0};

/// Lines without their ends in one piece of memory, with as many bytes behind them as a parser may touch.
class Lines {
public:
    explicit Lines(const std::vector<FeedRecord>& records) {
        for (const FeedRecord& record : records) {
            const std::string line = toJsonLine(record);
            _ends.push_back(_text.size() + line.size());
            _text += line;
            _text += '\n';
        }
        _text.append(simdjson::SIMDJSON_PADDING, '\0');
    }

    template <typename Action>
    void forEach(Action&& action) const {
        std::size_t begin = 0;
        for (const std::size_t end : _ends) {
            action(std::string_view(_text).substr(begin, end - begin));
            begin = end + 1;
        }
    }
    std::size_t bytes() const { return _ends.back() + 1; }

private:
    std::string _text;
    std::vector<std::size_t> _ends;
};

[[noreturn]] void refuse(std::string_view line) {
    throw std::runtime_error("not a record: " + std::string(line));
}

// --- The two libraries' values as the record's

struct SimdjsonValues {
    using Value = simdjson::dom::element;
    static int integerOf(Value value) { return static_cast<int>(value.get_int64().value()); }
    static double numberOf(Value value) { return value.get_double().value(); }
    static std::string_view textOf(Value value) { return value.get_string().value(); }
    static simdjson::dom::array listOf(Value value) { return value.get_array().value(); }
};

struct BoostValues {
    using Value = boost::json::value;
    static int integerOf(const Value& value) { return static_cast<int>(value.as_int64()); }
    static double numberOf(const Value& value) { return value.to_number<double>(); }
    static std::string_view textOf(const Value& value) { return {value.as_string().data(), value.as_string().size()}; }
    static const boost::json::array& listOf(const Value& value) { return value.as_array(); }
};

template <typename Values, typename Object>
void readKeys(const Object& keys, FeedRecord& record) {
    record.at.reset();
    record.fields.clear();
    for (const auto& [key, value] : keys) {
        if (key == "at") {
            record.at = Values::numberOf(value);
        } else if (key == "update") {
            record.kind = FeedRecord::UPDATE;
            record.type = Values::integerOf(value);
        } else if (key == "delete") {
            record.kind = FeedRecord::DELETION;
            record.type = Values::integerOf(value);
        } else if (key == "id") {
            record.id = Values::integerOf(value);
        } else if (key == "fields") {
            for (const auto& field : Values::listOf(value)) {
                if (field.is_null()) {
                    record.fields.appendMissing();
                } else {
                    record.fields.append(Values::textOf(field));
                }
            }
        } else if (key == "snapshot") {
            record.kind = Values::textOf(value) == "begin" ? FeedRecord::SNAPSHOT_BEGIN : FeedRecord::SNAPSHOT_END;
        }
    }
}

class SimdjsonReader {
public:
    void read(std::string_view line, FeedRecord& record) {
        simdjson::dom::object keys;
        if (_parser.parse(line.data(), line.size(), false).get(keys) != simdjson::SUCCESS) refuse(line);
        readKeys<SimdjsonValues>(keys, record);
    }

private:
    simdjson::dom::parser _parser;
};

class BoostReader {
public:
    void read(std::string_view line, FeedRecord& record) {
        boost::json::monotonic_resource values(_values.data(), _values.size());
        _parser.reset(&values);
        boost::json::error_code fault;
        _parser.write(line.data(), line.size(), fault);
        if (fault) refuse(line);
        const boost::json::value root = _parser.release();
        readKeys<BoostValues>(root.as_object(), record);
    }

private:
    std::array<unsigned char, 4096> _scratch{};
    std::array<unsigned char, 16384> _values{};
    boost::json::parser _parser{{}, {}, _scratch.data(), _scratch.size()};
};

template <typename Reader>
void readAll(const Lines& lines) {
    Reader reader;
    FeedRecord record;
    lines.forEach([&](std::string_view line) {
        reader.read(line, record);
        keep(record);
    });
}

/// Both readers must find the same in every line.
void compareReaders(const Lines& lines) {
    SimdjsonReader one;
    BoostReader other;
    lines.forEach([&](std::string_view line) {
        FeedRecord ofOne;
        FeedRecord ofOther;
        one.read(line, ofOne);
        other.read(line, ofOther);
        if (toJsonLine(ofOne) != line || toJsonLine(ofOther) != line) refuse(line);
    });
}

void measureAll(const Arguments& arguments) {
    if (!arguments.feeds.empty() || !arguments.only.empty()) throw std::runtime_error("usage: OUTPUT");
    Results results(arguments.output);
    const std::vector<FeedRecord> records = multiplied(harbourRecords(), kCopies);
    const Lines lines(records);
    compareReaders(lines);

    const std::vector<Body> readers{{"simdjson, document parser", [&lines] { readAll<SimdjsonReader>(lines); }},
                                    {"Boost.JSON, buffer of its own", [&lines] { readAll<BoostReader>(lines); }}};
    const std::vector<double> times = timeInTurns(readers, kEffort);
    for (std::size_t i = 0; i < readers.size(); ++i) {
        const double seconds = times[i] * 1e-9;
        results.write("json", readers[i].name, records.size(), lines.bytes(), seconds,
                      static_cast<double>(lines.bytes()) / seconds);
        std::printf("%-32s %.3f s\n", readers[i].name.c_str(), seconds);
    }
}

}  // namespace

int main(int argc, char** argv) {
    return runProgram(argv[0], [&] { measureAll(argumentsOf(argc, argv)); });
}
