// The sample feed: the file is what its generator writes, and its contents sum up alike on every width.
#include <fstream>
#include <string>

#include "FeedDelivery.h"
#include "FeedWriter.h"
#include "HarbourMorning.h"
#include "StoreTest.h"
#include "TableDump.h"

TEST(SampleFeed, IsWhatItsGeneratorWrites) {
    std::ifstream file(PIS_SAMPLES "/harbour-morning.jsonl");
    ASSERT_TRUE(file.is_open());
    std::size_t lines = 0;
    harbourMorning([&](const FeedRecord& record) {
        std::string line;
        std::getline(file, line);
        ++lines;
        ASSERT_EQ(line, toJsonLine(record)) << "line " << lines;
    });
    EXPECT_GE(lines, 5000U);
    EXPECT_EQ(file.peek(), std::ifstream::traits_type::eof()) << "the file is longer than the generator's feed";
}

class SampleFeedInStore : public StoreTest {};

TEST_F(SampleFeedInStore, LeavesTheSameContentsOnEveryWidth) {
    host.setDebugLevel(-1);
    host.notesLock = false;
    FeedDelivery delivery(store);
    harbourMorning([&](const FeedRecord& record) { delivery.deliver(record); });

    EXPECT_EQ(hashTables(store), 0xe2fe7fff44bc1cefU);
    EXPECT_EQ(delivery.snapshots(), 2U);
    EXPECT_EQ(delivery.elements(9), serviceStopsOf(store).size());
    EXPECT_EQ(delivery.elements(8), servicesOf(store).size());
}
