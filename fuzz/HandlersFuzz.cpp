// In go lines of text, each something done to the store: an update, a deletion, a registration, another
// log level, or one of these in the middle of what follows. After each the host must have seen the calls
// that the plain model of the store foresees, and the tables must hold what the model's hold.
//
//     u CODE ID|TEXT|TEXT...   element update; \0 is a field without a text, \n a line end, \p a bar,
//                              \* in front of a text repeats it until it is long
//     w CODE ID                element update without a list
//     d CODE ID                deletion
//     r NUMBER                 registration of observer 0, 1 or 2
//     l LEVEL                  debugLevel
//     g NTH                    the next line happens when the lock is left for the nth time from there
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include "Describe.h"
#include "FakeHost.h"
#include "FieldListBuilder.h"
#include "FuzzCheck.h"
#include "RecordingObserver.h"
#include "StoreAccess.h"
#include "StoreModel.h"

namespace {

constexpr std::size_t kMaxSteps = 64;
constexpr std::size_t kLongText = 1000;

struct Step {
    char kind = ' ';
    int first = 0;
    int second = 0;
    model::Fields fields;
};

// --- Lines to steps -----------------------------------------------------------------------------

std::vector<std::string> cutAt(char separator, const std::string& text) {
    std::vector<std::string> pieces;
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = text.find(separator, begin)) != std::string::npos; begin = end + 1) {
        pieces.push_back(text.substr(begin, end - begin));
    }
    pieces.push_back(text.substr(begin));
    return pieces;
}

std::optional<std::string> fieldFrom(std::string written) {
    written.resize(std::strlen(written.c_str()));  // the host's texts end at their first NUL
    if (written == "\\0") return std::nullopt;

    const bool isLong = written.compare(0, 2, "\\*") == 0;
    std::string text;
    for (std::size_t i = isLong ? 2 : 0; i < written.size(); ++i) {
        if (written[i] == '\\' && i + 1 < written.size()) {
            ++i;
            text += written[i] == 'n' ? '\n' : written[i] == 'p' ? '|' : written[i];
        } else {
            text += written[i];
        }
    }
    while (isLong && !text.empty() && text.size() < kLongText) text += text;
    return text;
}

int numberFrom(const char*& text) {
    char* end = nullptr;
    const long long number = std::strtoll(text, &end, 10);
    text = end;
    return static_cast<int>(
        std::clamp<long long>(number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

Step stepFrom(const std::string& line) {
    Step step;
    if (line.empty()) return step;
    const std::vector<std::string> pieces = cutAt('|', line);
    const char* numbers = pieces[0].c_str();
    if (*numbers != '\0') step.kind = *numbers++;
    step.first = numberFrom(numbers);
    step.second = numberFrom(numbers);
    for (std::size_t i = 1; i < pieces.size(); ++i) step.fields.push_back(fieldFrom(pieces[i]));
    return step;
}

// --- The store and the model, side by side --------------------------------------------------------

class Session {
public:
    /// Does one step to both; compares what they did.
    void take(const Step& step, const std::string& line) {
        if (step.kind == 'g') {
            _nthLeave = std::clamp(step.first, 1, 9);
        } else if (_nthLeave > 0 && !_gapWaits) {
            doInGap(step);
        } else {
            doToBoth(step, line);
        }
    }

    /// Lets what still waits for the lock happen; compares what clients see.
    void end() {
        while (_gapWaits) doToBoth({'d', 1, 0, {}}, "the end");
        requireEqual(seenByClients(), _model.tables(), "what clients see");
    }

private:
    void doInGap(const Step& step) {
        _gapWaits = true;
        _host.at(
            "leave", [this, step] { toStore(step); }, _nthLeave);
        _model.atLeave(_nthLeave, [this, step] {
            toModel(step);
            _gapWaits = false;
        });
        _nthLeave = 0;
    }

    void doToBoth(const Step& step, const std::string& line) {
        _host.clear();
        toStore(step);
        toModel(step);
        requireEqual(_host.transcript(), _model.takeTranscript(), "the host's calls of " + line);
        requireEqual(describe(_store), _model.tables(), "the tables behind " + line);
        require(_store.getServerStatus() == _model.online(), "the server's status behind " + line);
        require(_store.isAutomaticMessageGenerationEnabled() == _model.automaticMessages(),
                "automatic messages behind " + line);
        require(_host.allLocksFree(), "the lock stays taken behind " + line);
    }

    void toStore(const Step& step) {
        switch (step.kind) {
            case 'u': {
                std::vector<FieldText> texts;
                for (const auto& field : step.fields) texts.push_back(field ? FieldText(*field) : FieldText(null));
                FieldList list(texts);
                _store.updatePassengerInformation(step.second, step.first, step.second, list);
                break;
            }
            case 'w': _store.updatePassengerInformation(1, step.first, step.second, nullptr); break;
            case 'd': _store.deletePassengerInformation(step.first, step.second); break;
            case 'r': _store.registerObserver(&_observers[observerIn(step)]); break;
            case 'l': _host.setDebugLevel(step.first); break;
            default: break;
        }
    }

    void toModel(const Step& step) {
        switch (step.kind) {
            case 'u': _model.update(step.first, step.second, &step.fields); break;
            case 'w': _model.update(step.first, step.second, nullptr); break;
            case 'd': _model.remove(step.first, step.second); break;
            case 'r': _model.registerObserver(_names[observerIn(step)]); break;
            case 'l': _model.debugLevel = step.first; break;
            default: break;
        }
    }

    static std::size_t observerIn(const Step& step) { return static_cast<unsigned>(step.first) % 3; }

    /// What the getters show, and the one table that has none.
    std::string seenByClients() {
        return describe(_store.getLines()) + describe(_store.getVehicles()) + describe(_store.getStations()) +
               describe(_store.getPlatforms()) + describe(_store.getTrips()) + describe(_store.getTripStops()) +
               describe(_store.getServices()) + describe(serviceStopsOf(_store));
    }

    FakeHost _host;
    PassengerInformationServer& _store = gPassengerInformationServer;
    model::StoreModel _model;
    std::array<std::string, 3> _names{"board", "announcer", "screen"};
    std::vector<RecordingObserver> _observers{_names.begin(), _names.end()};
    int _nthLeave = 0;  // for the next step; 0 for at once
    bool _gapWaits = false;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    GTEST_FLAG_SET(throw_on_failure, true);  // so that what the fake host finds ends the program, too
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> lines = cutAt('\n', textOf(data, size));
    if (lines.size() > kMaxSteps) lines.resize(kMaxSteps);
    Session session;
    for (const std::string& line : lines) session.take(stepFrom(line), line);
    session.end();
    return 0;
}
