// Readers on other threads while the builder publishes: every picture that they get is whole and stays
// as it is.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "PictureTest.h"
#include "picture/Departures.h"

namespace pis::picture {

namespace {

constexpr int kLines = 200;
constexpr int kRevisions = 400;

class PictureReaders : public PictureTest {
protected:
    /// Every line and every service stop says the same number in one revision.
    void writeAll(int number) {
        const std::string text = std::to_string(number);
        for (int id = 1; id <= kLines; ++id) {
            if (id % 50 == number % 50) line(id, text);
            line(1, text);
            line(kLines, text);
        }
        serviceStop(1, {"12", "31", text.c_str()});
        serviceStop(1000, {"12", "31", text.c_str()});
        if (number % 10 == 0) builder.acceptDeletion(7, 31);
        if (number % 10 == 5) tripStop(31, {"3", "9", "Y", "0", "0"});
    }

    static int tornIn(const Picture& picture) {
        int torn = 0;
        const auto* first = picture.record<Line>(1);
        const auto* last = picture.record<Line>(kLines);
        if ((first == nullptr) != (last == nullptr)) return 1;
        if (first != nullptr) torn += first->getName() != last->getName();
        const auto* stop = picture.record<ServiceStop>(1);
        const auto* otherStop = picture.record<ServiceStop>(1000);
        if (stop != nullptr && otherStop != nullptr) {
            torn += stop->getServiceStartTime() != otherStop->getServiceStartTime();
            torn += stop->getPlatformId() != otherStop->getPlatformId();
        }
        for (const records::Table table : records::kEveryTable)
            torn += picture.rowsOf(table).size() != picture.size(table);
        return torn;
    }
};

TEST_F(PictureReaders, SeeWholePicturesThatStayAsTheyAre) {
    std::atomic<bool> writing{true};
    std::atomic<int> torn{0};
    std::atomic<int> read{0};
    const ServiceMoment now = ServiceClock({ClockOptions::WALL, "unix", "UTC", "03:00"}).at({}, {});
    const auto readAll = [&] {
        Revision known = 0;
        do {
            const std::shared_ptr<const Picture> seen = published.current();
            torn += seen->revision < known;
            torn += tornIn(*seen);
            const auto changes = seen->changesSince(known);
            if (changes) {
                for (const Change& change : changes->latest) {
                    if (change.row != nullptr) torn += change.row->revision > seen->revision;
                }
            }
            torn += departuresJson(seen, {0, 9, 5}, now).empty();
            known = seen->revision;
            ++read;
        } while (writing);
    };
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) readers.emplace_back(readAll);
    for (int number = 1; number <= kRevisions || read < 30; ++number) {
        writeAll(number);
        builder.publish();
    }
    writing = false;
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(torn, 0);
    EXPECT_GE(published.current()->revision, static_cast<Revision>(kRevisions));
}

}  // namespace

}  // namespace pis::picture
