// The fixture of tests on pictures: a builder, what goes into it in short words, and the picture that
// comes out.
#ifndef TESTS_PICTURE_PICTURETEST_H
#define TESTS_PICTURE_PICTURETEST_H

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>

#include "SignallingCodes.h"
#include "picture/PictureBuilder.h"

namespace pis::picture {

class PictureTest : public ::testing::Test {
protected:
    /// An event item as the store posts it after an update.
    void update(const Line& line) { post(SignallingCodes::LINE_UPDATED, line); }
    void update(const Vehicle& vehicle) { post(SignallingCodes::VEHICLE_UPDATED, vehicle); }
    void update(const Station& station) { post(SignallingCodes::STATION_UPDATED, station); }
    void update(const PlatformInfo& platform) { post(SignallingCodes::PLATFORM_UPDATED, platform); }
    void update(const Trip& trip) { post(SignallingCodes::TRIP_UPDATED, trip); }
    void update(const Service& service) { post(SignallingCodes::SERVICE_UPDATED, service); }

    /// A stop's record in the fields of the feed; "-" is a missing one.
    void tripStop(int id, std::initializer_list<const char*> texts) {
        acceptStop(SignallingCodes::TRIP_STOP, id, texts);
    }
    void serviceStop(int id, std::initializer_list<const char*> texts) {
        acceptStop(SignallingCodes::SERVICE_STOP, id, texts);
    }

    void line(int id, const std::string& name, const std::string& abrv = "") {
        Line record(id);
        record.setName(name);
        record.setAbrv(abrv);
        update(record);
    }

    void deleteLine(int id) { builder.accept({SignallingCodes::LINE_DELETED, id, Line(id)}); }

    const Picture& publish() {
        builder.publish();
        picture = published.current();
        return *picture;
    }

    /// The JSON of a record, or "" where there is none.
    std::string json(records::Table table, int id) const {
        const auto row = picture->find(table, id);
        return row != nullptr ? row->json : "";
    }

    void acceptStop(int type, int id, std::initializer_list<const char*> texts) {
        feed::FeedRecord record;
        record.type = type;
        record.id = id;
        record.fields = fieldsOf(texts);
        builder.acceptStop(record);
    }

    static feed::FieldTexts fieldsOf(std::initializer_list<const char*> texts) {
        feed::FieldTexts fields;
        for (const std::string text : texts) {
            if (text == "-") {
                fields.appendMissing();
            } else {
                fields.append(text);
            }
        }
        return fields;
    }

    base::WallTime wall{std::chrono::milliseconds(1795181108123)};  // 2026-11-20T13:25:08.123Z
    PublishedPicture published;
    PictureBuilder builder{published, [this] { return wall; }, 8};
    std::shared_ptr<const Picture> picture;

private:
    template <typename Record>
    void post(int code, const Record& record) {
        builder.accept({code, record.getId(), record});
    }
};

}  // namespace pis::picture

#endif
