// The board against a service whose answers are written here: every face it has, what screen readers hear and how
// often, and connections that are lost.
import assert from "node:assert/strict";
import { closeClean, rowOf, rowsOf, waitForRows, waitUntilHeard } from "./support/browser.mjs";
import { kStationPath, openBoard, openTrains, service, show, useFakeService } from "./support/fake-board.mjs";
import { departure, everyState, kStation } from "./support/fake-service.mjs";
import { layoutFaults } from "./support/looks.mjs";
import { test, until } from "./support/waiting.mjs";

useFakeService();

test("says every state in words", async () => {
    show(...everyState());
    const page = await openTrains({ height: 3000 });
    const rows = await rowsOf(page);
    assert.deepEqual(rows.slice(0, 8), [
        "07:00 | ML | Lännavik Calls at: Customs Quay, Sankt Brida, Färjehus, Lännavik | 1 | Boarding 1 min late",
        "07:01 | ML | Östermole Calls at: Kranhöft, Tidal Basin, Ropewalk, Östermole | 2 | Approaching",
        "07:02 | HL | Skærholt Express Passing train, stand back | 3 | Does not stop",
        "07:05 | HL | Grønnehoved Calls at: Saltworks, Lantern Road, Grønnehoved | 4 | Expected 07:13 8 min late",
        "07:07 | ML | Lännavik This train does not run | 1 | Cancelled",
        "07:09 | ML | Östermole Calls at: Kranhöft, Tidal Basin, Ropewalk, Östermole | 2 | At platform",
        "07:11 | HL | Skærholt Limited stops Calls at: Customs Quay, Sankt Brida, Färjehus, Lännavik | 3 | Expected 07:09 2 min early",
        "07:13 | HL | Grønnehoved Last train Calls at: Customs Quay, Sankt Brida, Färjehus, Lännavik | 4 | On time",
    ]);
    assert.equal(await page.locator("tr[data-status=cancelled] s").count(), 2, "struck through");
    await closeClean(page);
});

test("says a change once, however often the service ticks", async () => {
    const first = departure({ scheduled: 25500 });
    const second = departure({ scheduled: 25800 });
    show(first, second);
    const page = await openTrains();

    const ticked = async () => {
        const before = service.requests.length;
        service.tick({ clock: { seconds: 25320, text: "07:02", source: "feed" } });
        await until(
            () => service.requests.length,
            (length) => length > before,
            () => "the board does not ask after a tick",
        );
    };
    await ticked();
    const moved = { ...first, platform: { id: 10, name: "Harbour Central 2", track: "2" } };
    show(moved, second);
    await waitUntilHeard(page, "now leaves from platform 2");
    await ticked();
    await ticked();
    const late = { ...second, expected: second.expected + 480, expected_text: "07:18", delay: 480 };
    show(moved, late);
    await waitUntilHeard(page, "8 minutes late");
    await ticked();
    show({ ...moved, cancelled: true }, { ...late, state: "BOARDING", at_platform: true });
    await waitUntilHeard(page, "is cancelled");
    assert.deepEqual(await page.heard(), [
        "The 07:05 to Lännavik now leaves from platform 2.",
        "The 07:10 to Lännavik is expected at 07:18, 8 minutes late.",
        "The 07:05 to Lännavik is cancelled. The 07:10 to Lännavik is boarding at platform 1.",
    ]);
    await closeClean(page);
});

test("does not repeat a delay that wavers by a minute", async () => {
    const train = departure({ scheduled: 25500 });
    const lateBy = (minutes) => ({
        ...train,
        expected: train.scheduled + minutes * 60,
        expected_text: `07:${String(5 + minutes).padStart(2, "0")}`,
    });
    show(train);
    const page = await openTrains();
    for (const minutes of [3, 4, 3, 2, 3, 5]) {
        show(lateBy(minutes));
        await waitForRows(page, (rows) => rows[0].includes(`${minutes} min late`), `${minutes} min late`);
    }
    await waitUntilHeard(page, "5 minutes late");
    assert.deepEqual(await page.heard(), [
        "The 07:05 to Lännavik is expected at 07:08, 3 minutes late.",
        "The 07:05 to Lännavik is expected at 07:10, 5 minutes late.",
    ]);
    await closeClean(page);
});

test("shows different faces for no trains, no data, and a station that is not known", async () => {
    show();
    const page = await openBoard();
    await page.getByRole("heading", { name: "No more trains from here today" }).waitFor();
    service.answers[kStationPath] = { station: kStation, status: "no_data", departures: [] };
    service.tick();
    await page.getByRole("heading", { name: "Waiting for train data" }).waitFor();
    assert.equal(await page.locator("#trains").isVisible(), false);
    assert.deepEqual(await layoutFaults(page), []);
    await closeClean(page);

    const unknown = await openBoard({ width: 360, height: 640 }, "station=99");
    await unknown.getByRole("heading", { name: "This station is not known" }).waitFor();
    assert.equal(await unknown.getByRole("link", { name: "All stations" }).getAttribute("href"), "/");
    assert.deepEqual(await layoutFaults(unknown), []);
    await unknown.context().close();

    for (const [query, reason] of [
        ["", "has to name a station or a platform"],
        ["station=5&platform=9", "a station and a platform"],
        ["station=five", "station has to be a whole number"],
        ["station=5&rows=0", "rows has to be a whole number from 1 to 30"],
    ]) {
        const wrong = await openBoard({}, query);
        await wrong.getByText(reason).waitFor();
        await closeClean(wrong);
    }
});

test("shows as many rows as the address asks for", async () => {
    show(...everyState());
    await closeClean(await openTrains({}, "station=5&rows=3"));
    assert.ok(service.requests.includes(`${kStationPath}?limit=3`), service.requests.join());
});

test("fits its rows anew when the screen turns", async () => {
    show(...everyState());
    const page = await openTrains({ width: 640, height: 360 });
    const before = (await rowsOf(page)).length;
    await page.setViewportSize({ width: 360, height: 800 });
    await waitForRows(page, (rows) => rows.length > before, "more rows on the upright screen");
    assert.deepEqual(await layoutFaults(page), []);
    await closeClean(page);
});

test("says that the feed is silent, and for how long", async () => {
    show(departure());
    const page = await openTrains();
    assert.equal(await page.locator("#banner").isVisible(), false);
    service.tick({ stale: true, silent_seconds: 3.2 });
    const seconds = page.getByText(/^No news from the signalling side for \d+ s\. Times may be wrong\.$/);
    const first = await seconds.innerText();
    await until(
        () => seconds.innerText(),
        (text) => text !== first,
        () => `The age stays "${first}"`,
    );
    service.tick({ stale: true, silent_seconds: 60.4 });
    await page.getByText("No news from the signalling side for 1 min.").waitFor();
    service.tick({ stale: false, silent_seconds: 0 });
    await page.locator("#banner").waitFor({ state: "hidden" });
    await waitUntilHeard(page, "up to date again");
    assert.deepEqual(await page.heard(), [
        "There is no news from the signalling side. Times may be wrong.",
        "The times are up to date again.",
    ]);
    await closeClean(page);
});

test("says that the state is still coming in, until it is there", async () => {
    show(departure());
    const page = await openTrains();
    const banner = page.locator("#banner");
    service.tick({ part_of_snapshot: true });
    await banner.getByText(/^Trains are still being read in\. Some may be missing yet\.$/).waitFor();
    service.tick({ part_of_snapshot: false });
    await banner.waitFor({ state: "hidden" });
    await closeClean(page);
});

test("says that the signalling server is offline, and of a feed that never spoke of it nothing", async () => {
    show(departure());
    const page = await openTrains();
    const banner = page.locator("#banner");
    service.tick({ server_online: false, server_status: "offline" });
    await banner.getByText(/^The signalling server is offline\. Times may be wrong\.$/).waitFor();
    assert.deepEqual(await layoutFaults(page), []);
    service.tick({ stale: true, silent_seconds: 100 });
    await banner.getByText("No news from the signalling side for 1 min.").waitFor();
    service.tick({ stale: false, silent_seconds: 0 });
    await banner.getByText("The signalling server is offline.").waitFor();
    service.tick({ server_online: false, server_status: "unknown" });
    await banner.waitFor({ state: "hidden" });
    service.tick({ server_online: false, server_status: "offline" });
    await banner.waitFor();
    service.tick({ server_online: true, server_status: "online" });
    await banner.waitFor({ state: "hidden" });
    await waitUntilHeard(page, "The signalling server is offline. Times may be wrong.");
    await waitUntilHeard(page, "The times are up to date again.");
    await closeClean(page);
});

test("keeps what was known when the connection is lost, says so, and finds it again", async () => {
    show(departure({ scheduled: 25500 }));
    const page = await openTrains();
    await service.stop();
    await page.getByText(/lost its connection.*Showing what was known at 07:01, \d+ s ago\./).waitFor();
    assert.match(await rowOf(page, "07:05"), /Lännavik/);
    assert.deepEqual(await layoutFaults(page), []);
    await service.start();
    await page.locator("#banner").waitFor({ state: "hidden" });
    show(departure({ scheduled: 25560 }));
    await waitForRows(page, (rows) => rows[0]?.startsWith("07:06"), "what came after");
    await page.context().close();
});

test("takes twenty seconds without an event for a lost connection, and listens anew", async () => {
    show(departure());
    const page = await openTrains({ clock: true });
    assert.equal(service.streams, 1);
    await page.clock.fastForward(21000);
    await page.clock.fastForward(3000);
    await page.locator("#banner").waitFor({ state: "hidden" });
    await waitUntilHeard(page, "up to date again");
    assert.match((await page.heard())[0], /lost its connection/);
    assert.equal(service.streams, 1, "the silent stream is closed");
    await closeClean(page);
});

test("gives its connection back while it stands in the background", async () => {
    show(departure({ scheduled: 25500 }));
    const page = await openTrains();
    const turn = (hidden) =>
        page.evaluate((value) => {
            Object.defineProperty(document, "hidden", { configurable: true, value });
            document.dispatchEvent(new Event("visibilitychange"));
        }, hidden);
    const streamsBecome = (count) =>
        until(
            () => service.streams,
            (streams) => streams === count,
            (streams) => `${streams} streams, not ${count}`,
        );
    await streamsBecome(1);
    await turn(true);
    await streamsBecome(0);
    show(departure({ scheduled: 25560 }));
    await turn(false);
    await streamsBecome(1);
    await waitForRows(page, (rows) => rows[0]?.startsWith("07:06"), "what came meanwhile");
    await closeClean(page);
});

test("an answer that cannot be shown does not end the asking", async () => {
    show(departure({ platform: null }));
    const page = await openBoard();
    show(departure({ scheduled: 25500 }));
    await waitForRows(page, (rows) => rows[0]?.startsWith("07:05"), "the next answer");
    await page.context().close();
    assert.equal(page.complaints.length, 1, page.complaints.join());
});

test("asks twice a second at most, and shows the last of many changes", async () => {
    show(departure({ scheduled: 25500 }));
    const page = await openTrains();
    const asked = () => service.requests.filter((path) => path.startsWith(kStationPath)).length;
    const before = asked();
    const start = performance.now();
    let last;
    const change = () => {
        last = departure({ scheduled: (last?.scheduled ?? 25500) + 60 });
        show(last);
        return asked() - before;
    };
    await until(
        change,
        (requests) => requests >= 4,
        (requests) => `only ${requests} requests`,
    );
    await waitForRows(page, (rows) => rows[0].startsWith(last.scheduled_text), "the last change");
    const mayAsk = 2 + (performance.now() - start) / 500;
    assert.ok(asked() - before <= mayAsk, `${asked() - before} requests, at most ${mayAsk.toFixed(1)}`);
    await closeClean(page);
});

test("a train that leaves goes, the others move up", async () => {
    const trains = [25500, 25560, 25620].map((scheduled) => departure({ scheduled }));
    show(...trains);
    const page = await openTrains();
    const second = await page.locator("#rows tr").nth(1).elementHandle();
    show(...trains.slice(1));
    await waitForRows(page, (rows) => rows.length === 2, "two trains");
    assert.equal(
        await page
            .locator("#rows tr")
            .first()
            .evaluate((row, same) => row === same, second),
        true,
    );
    assert.deepEqual(await page.heard(), []);
    await closeClean(page);
});

for (const motion of ["no-preference", "reduce"]) {
    test(`moves rows ${motion === "reduce" ? "at once where less motion is wanted" : "calmly"}`, async () => {
        const [first, second] = [25500, 25560].map((scheduled) => departure({ scheduled }));
        show(first, second);
        const page = await openTrains();
        await page.emulateMedia({ reducedMotion: motion });
        await page.evaluate(() => {
            const { animate } = Element.prototype;
            window.moves = 0;
            Element.prototype.animate = function (...given) {
                window.moves += 1;
                return animate.apply(this, given);
            };
        });
        show(second, { ...first, expected: first.expected + 600, expected_text: "07:15" });
        await waitForRows(page, (rows) => rows[0].startsWith("07:06"), "the other order");
        assert.equal(await page.evaluate(() => window.moves), motion === "reduce" ? 0 : 2);
        await closeClean(page);
    });
}
