// Long random feeds through the store and through the plain model of it: after every step both must
// have made the same host calls, and every so often hold the same tables. The feeds are the same on
// every machine and width.
#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "StoreModel.h"
#include "StoreTest.h"

namespace {

constexpr int kSteps = 10000;

/// What one feed is made of.
struct Feed {
    const char* name;
    std::uint32_t seed;
    std::vector<int> codes;      // element types, one drawn at a time: who stands twice comes twice as often
    std::set<int> events;        // codes of the event items that come of it
    std::uint32_t ids;           // elements are numbered from 1 to this
    std::uint32_t maxObservers;  // registered along the way
    bool changesLevel = false;   // debugLevel wanders
    bool fillsTheGap = false;    // other steps come in while a handler has given up the lock
};

void PrintTo(const Feed& feed, std::ostream* out) {
    *out << feed.name << ", seed " << feed.seed;
}

const std::vector<int> kEveryCode = {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 98};
const std::set<int> kEveryEvent = {24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37};
const std::vector<int> kTripsAndServices = {6, 6, 7, 8, 8, 8, 9, 9, 12};
const std::vector<int> kOddCodes = {0,
                                    1,
                                    14,
                                    15,
                                    97,
                                    99,
                                    100,
                                    -1,
                                    -2,
                                    258,
                                    1000,
                                    0x10002,
                                    std::numeric_limits<int>::max(),
                                    std::numeric_limits<int>::min() + 2};
const std::vector<int> kOddIds = {0, -1, -7, 98, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()};

using Text = std::optional<std::string>;

const std::vector<Text> kWords = {"1", "2", "Y", "N", "North", "South", "11!12", "11! 12", "EXPRESS", "BOARDING"};

const std::vector<Text> kAwkwardTexts = {
    std::nullopt,
    "",
    "(null)",
    "(null) ",
    " (null)",
    "(nul",
    "(NULL)",
    " ",
    "Yes",
    "y",
    " Y",
    "01",
    "1x",
    " 1",
    "\t\n\v\f\r 1",
    "+1",
    "+-1",
    "--1",
    "- 1",
    "-1",
    "-",
    "+",
    "0x11",
    "1e3",
    "abc",
    "12abc",
    "2147483647",
    "2147483648",
    "-2147483648",
    "-2147483649",
    "4294967295",
    "4294967296",
    "4294967297",
    "9223372036854775807",
    "9223372036854775808",
    "-9223372036854775809",
    "18446744073709551617",
    "123456789012345678901234567890",
    "000000000000000000000000000000003",
    "%s%n%d",
    "a,b!c\"d\\e",
    "Gj\xc3\xb8vik",
    "\xff\x01",
};

/// Something done to the store.
struct Step {
    enum Kind { kUpdate, kUpdateWithoutList, kDeletion, kRegistration, kLevel };
    Kind kind = kUpdate;
    int code = 0;  // or the debug level
    int id = 0;    // or the number of the observer
    model::Fields fields;
};

std::string print(const Step& step) {
    std::string text = std::array<const char*, 5>{"update", "update", "delete", "register", "level"}[step.kind];
    text += " " + std::to_string(step.code) + " " + std::to_string(step.id);
    if (step.kind == Step::kUpdateWithoutList) return text + " without a list";
    for (const Text& field : step.fields) text += field ? " \"" + *field + "\"" : " null";
    return text;
}

/// Makes up steps. Every draw is a statement of its own, so that all compilers draw in one order.
class StepMaker {
public:
    explicit StepMaker(const Feed& feed) : _feed(feed), _random(feed.seed) {}

    Step next() {
        const std::uint32_t kind = below(100);
        if (kind == 0 && _feed.changesLevel) return {Step::kLevel, static_cast<int>(below(6)) - 2, 0, {}};
        if (kind == 1 && _feed.maxObservers > 0) {
            return {Step::kRegistration, 0, static_cast<int>(below(_feed.maxObservers)), {}};
        }
        if (kind < 12) return deletion();
        if (kind < 27) return _last;
        _last = update();
        return _last;
    }

    std::uint32_t below(std::uint32_t bound) { return static_cast<std::uint32_t>(_random() % bound); }

private:
    template <typename Value>
    const Value& oneOf(const std::vector<Value>& values) {
        return values[below(static_cast<std::uint32_t>(values.size()))];
    }

    int id() { return below(50) == 0 ? oneOf(kOddIds) : static_cast<int>(below(_feed.ids)) + 1; }

    Step deletion() {
        Step step;
        step.kind = Step::kDeletion;
        const std::uint32_t kind = below(100);
        if (kind < 2) return step;  // everything
        step.code = kind < 10 ? 0 : kind < 15 ? oneOf(kOddCodes) : kind < 25 ? oneOf(kEveryCode) : oneOf(_feed.codes);
        step.id = below(15) == 0 ? 0 : id();
        return step;
    }

    Step update() {
        Step step;
        step.code = below(30) == 0 ? oneOf(kOddCodes) : oneOf(_feed.codes);
        const bool isStatus = step.code == 13 || step.code == 98;
        step.id = isStatus && below(4) != 0 ? 1 : id();
        if (below(50) == 0) {
            step.kind = Step::kUpdateWithoutList;
            return step;
        }
        std::uint32_t count = below(11);
        if (below(3) != 0) count = 9;  // as many as the longest element has
        if (below(300) == 0) count = 200;
        for (std::uint32_t i = 0; i < count; ++i) step.fields.push_back(field());
        return step;
    }

    Text field() {
        const std::uint32_t kind = below(100);
        if (kind < 60) return std::to_string(below(_feed.ids) + 1);
        if (kind < 80) return oneOf(kWords);
        if (kind < 99 || below(10) != 0) return oneOf(kAwkwardTexts);
        const std::uint32_t length = below(5000);
        return std::string(length, static_cast<char>('a' + below(26)));
    }

    const Feed& _feed;
    std::mt19937 _random;
    Step _last;
};

/// A field list as the host would build it.
std::unique_ptr<FieldList> listOf(const model::Fields& fields) {
    std::vector<FieldText> texts;
    for (const Text& field : fields) texts.push_back(field ? FieldText(*field) : FieldText(null));
    return std::make_unique<FieldList>(texts);
}

}  // namespace

class RandomFeed : public StoreTest, public ::testing::WithParamInterface<Feed> {
protected:
    void toStore(const Step& step) {
        switch (step.kind) {
            case Step::kUpdate:
                store.updatePassengerInformation(static_cast<int>(_steps++), step.code, step.id, *listOf(step.fields));
                break;
            case Step::kUpdateWithoutList: store.updatePassengerInformation(1, step.code, step.id, nullptr); break;
            case Step::kDeletion: store.deletePassengerInformation(step.code, step.id); break;
            case Step::kRegistration: store.registerObserver(&_observers[static_cast<std::size_t>(step.id)]); break;
            case Step::kLevel: host.setDebugLevel(step.code); break;
        }
    }

    void toModel(const Step& step) {
        switch (step.kind) {
            case Step::kUpdate: expected.update(step.code, step.id, &step.fields); break;
            case Step::kUpdateWithoutList: expected.update(step.code, step.id, nullptr); break;
            case Step::kDeletion: expected.remove(step.code, step.id); break;
            case Step::kRegistration: expected.registerObserver(_names[static_cast<std::size_t>(step.id)]); break;
            case Step::kLevel: expected.debugLevel = step.code; break;
        }
    }

    /// What clients see in every table that has a getter, and in the one that has none.
    std::string tablesSeenByClients() {
        return describe(store.getLines()) + describe(store.getVehicles()) + describe(store.getStations()) +
               describe(store.getPlatforms()) + describe(store.getTrips()) + describe(store.getTripStops()) +
               describe(store.getServices()) + describe(serviceStopsOf(store));
    }

    model::StoreModel expected;

private:
    unsigned _steps = 0;
    std::vector<std::string> _names = {"board", "announcer", "screen"};
    std::vector<RecordingObserver> _observers{_names.begin(), _names.end()};
};

TEST_P(RandomFeed, ShowsWhatTheModelShows) {
    StepMaker maker(GetParam());
    std::set<int> events;
    bool gapWaits = false;
    for (int number = 1; number <= kSteps; ++number) {
        const Step step = maker.next();
        std::string input = print(step);
        if (GetParam().fillsTheGap && !gapWaits && maker.below(3) == 0) {
            const int nth = static_cast<int>(maker.below(2)) + 1;  // before or behind the getter's copy
            const Step inGap = maker.next();
            gapWaits = true;
            host.at(
                "leave", [=] { toStore(inGap); }, nth);
            expected.atLeave(nth, [this, inGap, &gapWaits] {
                toModel(inGap);
                gapWaits = false;
            });
            input += "\nand at the lock's leave " + std::to_string(nth) + " from there: " + print(inGap);
        }
        host.clear();
        toStore(step);
        toModel(step);
        ASSERT_EQ(host.transcript(), expected.takeTranscript())
            << "seed " << GetParam().seed << ", step " << number << ":\n"
            << input;
        ASSERT_EQ(store.getServerStatus(), expected.online()) << "step " << number << ": " << input;
        ASSERT_EQ(store.isAutomaticMessageGenerationEnabled(), expected.automaticMessages())
            << "step " << number << ": " << input;
        for (const FakeHost::Event& event : host.events()) events.insert(event.code);
        if (number % 100 != 0) continue;
        ASSERT_EQ(describe(store), expected.tables()) << "seed " << GetParam().seed << ", step " << number;
    }
    const Step nothing{Step::kDeletion, 1, 0, {}};
    while (gapWaits) {  // what still waits for a leave gets it
        toStore(nothing);
        toModel(nothing);
    }
    EXPECT_EQ(tablesSeenByClients(), expected.tables());
    EXPECT_EQ(events, GetParam().events) << "a feed in which something never happens";
}

INSTANTIATE_TEST_SUITE_P(
    Feeds, RandomFeed,
    ::testing::Values(Feed{"Unobserved", 1, kEveryCode, kEveryEvent, 4, 0, false, false},
                      Feed{"Observed", 2, kEveryCode, kEveryEvent, 6, 3, false, false},
                      Feed{"ChangingLevel", 3, kEveryCode, kEveryEvent, 4, 2, true, false},
                      Feed{"ManyElements", 4, kEveryCode, kEveryEvent, 60, 1, false, false},
                      Feed{"TripsAndServices", 5, kTripsAndServices, {34, 35, 36, 37}, 3, 3, false, false},
                      Feed{"StepsInTheGap", 6, kTripsAndServices, {34, 35, 36, 37}, 4, 2, false, true}),
    [](const ::testing::TestParamInfo<Feed>& feed) { return std::string(feed.param.name); });
