// Keeps the picture in step with the store: typed copies of the event queue and records of stops come
// in, pictures go out. Runs on the feeding thread alone.
#ifndef PIS_PICTURE_PICTUREBUILDER_H
#define PIS_PICTURE_PICTUREBUILDER_H

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "feed/FeedRecord.h"
#include "picture/IndexEdits.h"
#include "picture/Picture.h"
#include "picture/PublishedPicture.h"
#include "platform/EventQueue.h"

namespace pis::picture {

/// Changes wait until they are published: several changes of a record are one, and a record that ends
/// as it was published is none. Publishing costs what changed, not what the tables hold.
class PictureBuilder {
public:
    /// Most changes that a picture's log holds.
    static constexpr std::size_t kLoggedChanges = 65536;

    /// @param wallClock the time that goes into "updated_at".
    PictureBuilder(PublishedPicture& published, std::function<base::WallTime()> wallClock,
                   std::size_t loggedChanges = kLoggedChanges);

    /// An event item of the store: fills the six tables that the store announces. A copy equal to what
    /// is held changes nothing; the status events are passed over.
    void accept(const platform::EventQueue::Item& item);

    /// A trip stop's or service stop's own record, as the feed brought it; other types are passed over,
    /// and so is id 0, as the store does.
    void acceptStop(const feed::FeedRecord& record);

    /// Elements were deleted, type 0 for every type, id 0 for every element: trip stops and service
    /// stops go; the others are told of by event items.
    void acceptDeletion(int type, int id);

    /// How the feed is now; goes out with the next publication.
    feed::FeedStatus& feed() { return _feed; }

    /// Whether any table changed since the last publication.
    bool hasChanges() const;

    /// Publishes the picture as it stands: under a new revision where a table changed, else under the
    /// same one with the feed's new status.
    void publish();

private:
    /// Records that differ from what is published, by id: as they are now, or nothing when they go.
    template <typename Record>
    using Pending = std::map<int, std::optional<Record>>;

    template <typename Record>
    Pending<Record>& pending() {
        return std::get<Pending<Record>>(_pending);
    }

    template <typename Record>
    void put(const Record& record);
    template <typename Record>
    void remove(int id);
    template <typename Record>
    void removeMatching(int id);

    void applyChanges();
    template <typename Record>
    void apply(const std::string& updatedAt, std::vector<Change>& changes);
    void joinStops();
    void applyIndexes();
    void logChanges(std::vector<Change> changes);
    void freeze();

    // Which indexes a record stands in, before and after a change; null where it is not there.
    template <typename Record>
    void link(int /*id*/, const Record* /*before*/, const Record* /*after*/) {}
    void link(int id, const PlatformInfo* before, const PlatformInfo* after);
    void link(int id, const TripStop* before, const TripStop* after);
    void link(int id, const Service* before, const Service* after);
    void link(int id, const ServiceStop* before, const ServiceStop* after);
    void noteMembership() { _picture.membershipRevision = _picture.revision; }

    PublishedPicture& _published;
    std::function<base::WallTime()> _wallClock;
    std::size_t _loggedChanges;
    std::size_t _logged = 0;  // changes that the log holds
    feed::FeedStatus _feed;
    Picture _picture;  // as it was published last
    records::PerTable<Pending>::Tuple _pending;
    IndexEdits _platformsOfStation;
    IndexEdits _tripStopsAtPlatform;
    IndexEdits _tripStopsOfTrip;
    IndexEdits _servicesOfTrip;
    IndexEdits _stopsOfService;
    IndexEdits _joins;
};

}  // namespace pis::picture

#endif
