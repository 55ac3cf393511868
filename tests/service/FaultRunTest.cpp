// A link that drops, doubles, garbles, stalls and cuts: the service stays up, counts what it refused, and shows
// the truth again after the whole state that the signalling side sends at its end.
#include <cstdint>
#include <regex>

#include "ServiceTest.h"

namespace pis::service {

namespace {

/// A number as the host reads a field of 32 bits.
std::int64_t numberOf(const std::string& text) {
    return text.empty() ? 0 : std::stoll(text);
}

/// The service stops of a feed without faults, each by its last record, joined with its trip stop's: what the dump
/// of a replay does not tell.
class StopsOfFeed {
public:
    explicit StopsOfFeed(const std::string& lines) {
        simdjson::dom::parser parser;
        std::istringstream stream(lines);
        for (std::string line; std::getline(stream, line);) take(parser.parse(line).value());
    }

    std::map<long, std::string> rows() const {
        static const Fields kNone{"0", "0", "N", "0", "0"};
        std::map<long, std::string> rows;
        for (const auto& [id, stop] : _serviceStops) {
            const auto found = _tripStops.find(static_cast<long>(numberOf(stop[1])));
            const Fields& from = found != _tripStops.end() ? found->second : kNone;
            const auto time = [](const std::string& field) { return std::to_string(numberOf(field)); };
            rows[id] = R"({"table":"service_stops","id":)" + std::to_string(id) + R"(,"service_id":)" + stop[0] +
                       R"(,"trip_stop_id":)" + stop[1] + R"(,"service_start_time":)" + time(stop[2]) +
                       R"(,"arv_delay":)" + time(stop[3]) + R"(,"dep_delay":)" + time(stop[4]) + R"(,"trip_id":)" +
                       from[0] + R"(,"platform_id":)" + from[1] + R"(,"is_stopping":)" +
                       (from[2] == "Y" ? "true" : "false") + R"(,"sch_arv_offset":)" + time(from[3]) +
                       R"(,"sch_dep_offset":)" + time(from[4]) + "}";
        }
        return rows;
    }

private:
    using Fields = std::vector<std::string>;

    void take(simdjson::dom::element record) {
        std::int64_t type = 0;
        std::string_view mark;
        if (record["snapshot"].get(mark) == simdjson::SUCCESS) return takeMark(mark == "begin");
        if (record["update"].get(type) == simdjson::SUCCESS) {
            if (type != 7 && type != 9) return;
            Fields fields;
            for (const simdjson::dom::element field : record["fields"].get_array()) {
                fields.emplace_back(field.is_null() ? std::string_view() : field.get_string().value());
            }
            fields.resize(5);
            const long id = static_cast<long>(record["id"].get_int64().value());
            tableOf(type)[id] = fields;
            _seen.insert({type, id});
        } else if (record["delete"].get(type) == simdjson::SUCCESS) {
            const long id = static_cast<long>(record["id"].get_int64().value());
            if (type == 7 || type == 9) id == 0 ? tableOf(type).clear() : void(tableOf(type).erase(id));
            ASSERT_NE(0, type) << "not told by this feed";
        }
    }

    /// At a snapshot's end what was not told in it goes.
    void takeMark(bool begins) {
        if (begins) return _seen.clear();
        for (const std::int64_t type : {7, 9}) {
            std::map<long, Fields>& table = tableOf(type);
            for (auto row = table.begin(); row != table.end();) {
                row = _seen.count({type, row->first}) > 0 ? std::next(row) : table.erase(row);
            }
        }
    }

    std::map<long, Fields>& tableOf(std::int64_t type) { return type == 7 ? _tripStops : _serviceStops; }

    std::map<long, Fields> _tripStops;
    std::map<long, Fields> _serviceStops;
    std::set<std::pair<std::int64_t, long>> _seen;  // since the snapshot began
};

class FaultRun : public ServiceTest {
protected:
    /// Runs the service against a simulated signalling side with faults until that one stands still, and
    /// compares what it shows with the same day without faults.
    void expectTruthAfter(const std::string& faults, const std::string& seed, const std::string& speed,
                          const std::string& until) {
        const std::vector<std::string> day{"simulate", PIS_NETWORK, "--seed",  seed,
                                           "--start",  "07:30",     "--until", until};
        const std::string records = outputOf(day);
        Rows truth = rowsOfLines(outputOf({"replay", "--dump", "-"}, records));
        truth["service_stops"] = StopsOfFeed(records).rows();

        std::vector<std::string> spoilt = day;
        spoilt.insert(spoilt.end(), {"--listen", "127.0.0.1:0", "--speed", speed});
        if (!faults.empty()) spoilt.insert(spoilt.end(), {"--fault", faults});
        side = std::make_unique<Program>(spoilt);
        side->awaitErr("127.0.0.1:");
        const std::string said = side->err();
        const std::size_t begin = said.find("127.0.0.1:");
        const std::string address = said.substr(begin, said.find_first_not_of("0123456789", begin + 10) - begin);
        service = std::make_unique<ServiceProcess>(std::vector<std::string>{"--link", "tcp://" + address});
        EventStream stream(service->port());
        try {
            patience::await("the truth", [&] {
                EXPECT_EQ(200, get("/healthz").status);
                return value("/api/v1/status", "/clock/text") == until && differenceOf(truth, tables()).empty();
            });
        } catch (const patience::Exhausted&) {
            ADD_FAILURE() << get("/api/v1/status").body << "\n"
                          << differenceOf(truth, tables()) << service->err() << side->err();
        }
        service->endInput();
        const std::string latest = value("/api/v1/status", "/revision");
        while (stream.nextRevision().id != latest) {
        }
        EXPECT_EQ("", differenceOf(tables(), stream.rows())) << "a reader's own tables";
        if (faults.empty()) return;
        malformed = malformedLines();
        snapshots = metric("pis_snapshots_total");
        service.reset();
        side->awaitErr("faults on ");
    }

    double malformedLines() const {
        std::istringstream lines(get("/metrics").body);
        double count = 0;
        for (std::string line; std::getline(lines, line);) {
            if (line.find("outcome=\"malformed\"} ") == std::string::npos) continue;
            count += std::stod(line.substr(line.rfind(' ')));
        }
        return count;
    }

    /// Whether the signalling side says that it did something to any line.
    bool did(const std::string& what) const {
        return std::regex_search(side->err(), std::regex("[1-9][0-9 ,']* " + what));
    }

    std::unique_ptr<Program> side;
    double malformed = 0;
    double snapshots = 0;
};

TEST_F(FaultRun, WithoutFaultsThePictureIsTheTruth) {
    expectTruthAfter("", "3", "1800", "08:00");
    EXPECT_EQ(0, malformedLines());
}

TEST_F(FaultRun, LostAndDoubledRecordsAreMadeUpFor) {
    expectTruthAfter("drop=0.1,duplicate=0.1", "5", "1800", "08:00");
    EXPECT_TRUE(did("dropped"));
    EXPECT_TRUE(did("duplicated"));
}

TEST_F(FaultRun, GarbledLinesAreCountedAndMadeUpFor) {
    expectTruthAfter("garble=0.1", "7", "1800", "08:00");
    EXPECT_GT(malformed, 10);
}

TEST_F(FaultRun, AStalledLinkCatchesUp) {
    expectTruthAfter("stall=0.04", "9", "600", "08:00");  // many stalls, however late the link is made
    EXPECT_TRUE(did("held back"));
}

TEST_F(FaultRun, AConnectionThatIsCutIsMadeAgain) {
    expectTruthAfter("drop=0.05,duplicate=0.05,garble=0.05,stall=0.05,disconnect=0.4", "11", "1800", "08:30");
    EXPECT_GT(malformed, 0);
    EXPECT_GT(snapshots, 1);
}

}  // namespace

}  // namespace pis::service
