// The fixture of tests against the running service: a process, what it is fed, and what it answers.
#ifndef TESTS_SERVICE_SERVICETEST_H
#define TESTS_SERVICE_SERVICETEST_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "EventStream.h"
#include "FeedLines.h"
#include "Program.h"

namespace pis::service {

class ServiceTest : public ::testing::Test {
protected:
    /// Starts the service and feeds it.
    void serve(const std::string& records = feed::railway(), const std::vector<std::string>& options = {}) {
        service = std::make_unique<ServiceProcess>(options);
        if (!records.empty()) feedWhole(records);
    }

    /// Feeds records and waits until the picture shows all of them: a line of its own, the last one, tells.
    void feedWhole(const std::string& records) {
        const std::string marker = std::to_string(++markers + 1000000);
        service->feed(records + feed::line(markers + 1000000, "marker"));
        patience::await("the records fed", [&] { return get("/api/v1/lines/" + marker).status == 200; });
        service->feed(feed::removal(2, markers + 1000000));
        patience::await("the marker's end", [&] { return get("/api/v1/lines/" + marker).status != 200; });
    }

    Answer get(const std::string& target, const Headers& headers = {}) const {
        return service::get(service->port(), target, headers);
    }
    Answer ask(const std::string& method, const std::string& target, const Headers& headers = {}) const {
        return service::ask(service->port(), method, target, headers);
    }

    /// A value of an answer's body.
    std::string value(const std::string& target, const std::string& pointer) const {
        return valueAt(get(target).body, pointer);
    }

    /// The rows of all tables.
    Rows tables() const {
        Rows rows;
        for (const char* path :
             {"lines", "vehicles", "stations", "platforms", "trips", "trip-stops", "services", "service-stops"}) {
            addRowsAt(rows, get(std::string("/api/v1/") + path).body, "/items");
        }
        return rows;
    }

    /// The value of a metric with its labels: `pis_ready`, `pis_link_state{state="up"}`.
    double metric(const std::string& name) const {
        const std::string text = "\n" + get("/metrics").body;
        const std::size_t begin = text.find("\n" + name + " ");
        return begin == std::string::npos ? -1 : std::stod(text.substr(begin + name.size() + 2));
    }

    /// Expects that the service uses no more than so many KiB.
    void expectMemoryBelow(long limit) const {
        if (kUnderSanitizer) return;
        EXPECT_LT(service->memory(), limit) << "KiB";
    }

    std::unique_ptr<ServiceProcess> service;

private:
    long markers = 0;
};

/// Expects a problem document of this status.
#define EXPECT_PROBLEM(wantedStatus, wantedParameter, answer)                    \
    do {                                                                         \
        const Answer& got = (answer);                                            \
        EXPECT_EQ(wantedStatus, got.status) << got.body;                         \
        EXPECT_EQ("application/problem+json", got.header("content-type"));       \
        EXPECT_EQ(std::to_string(wantedStatus), valueAt(got.body, "/status"));   \
        EXPECT_EQ(wantedParameter, valueAt(got.body, "/parameter")) << got.body; \
        EXPECT_NE("none", valueAt(got.body, "/detail"));                         \
    } while (false)

}  // namespace pis::service

#endif
