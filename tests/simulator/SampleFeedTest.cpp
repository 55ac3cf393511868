// The sample feed: the file is what the simulator makes of its network, and its contents sum up alike on every
// width.
#include <fstream>
#include <string>

#include "FedStore.h"
#include "HarbourMorning.h"
#include "StoreTest.h"
#include "feed/FeedWriter.h"
#include "records/TableDump.h"

namespace pis::simulator {

TEST(SampleFeed, IsWhatTheSimulatorMakesOfItsNetwork) {
    std::ifstream file(PIS_SAMPLES "/harbour-morning.jsonl");
    ASSERT_TRUE(file.is_open());
    const std::vector<feed::FeedRecord> records = harbourMorning();
    EXPECT_GE(records.size(), 5000U);
    for (std::size_t i = 0; i < records.size(); ++i) {
        std::string line;
        std::getline(file, line);
        ASSERT_EQ(line, toJsonLine(records[i])) << "line " << i + 1;
    }
    EXPECT_EQ(file.peek(), std::ifstream::traits_type::eof()) << "the file is longer than the simulator's feed";
}

class SampleFeedInStore : public StoreTest {};

TEST_F(SampleFeedInStore, LeavesTheSameContentsOnEveryWidth) {
    host.setDebugLevel(-1);
    host.notesLock = false;
    FedStore fed(store);
    for (const feed::FeedRecord& record : harbourMorning()) fed.accept(record);

    EXPECT_EQ(records::hashTables(store, serviceStopsOf(store)), 0x61aaa0ff7ccc8bf7U);
    EXPECT_EQ(fed.intake.snapshots(), 2U);
}

}  // namespace pis::simulator
