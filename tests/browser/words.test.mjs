// The words of the board, without a browser: spans, ages, colours, and what is news.
import assert from "node:assert/strict";
import { test } from "node:test";
import { departure } from "./support/fake-service.mjs";

const pages = process.env.PIS_PAGES ?? new URL("../../standalone/pages", import.meta.url).pathname;
const words = await import(`data:text/javascript;base64,${await moduleText("words.js")}`);

// The pages' modules stand outside this package: Node would not take their .js for modules.
async function moduleText(name) {
    const { readFile } = await import("node:fs/promises");
    return (await readFile(`${pages}/${name}`)).toString("base64");
}

const viewOf = (changes) => words.viewsOf([departure(changes)])[0];

test("spans are said in hours and minutes, and not without end", () => {
    assert.equal(words.shortSpan(0), "0 min");
    assert.equal(words.shortSpan(59), "59 min");
    assert.equal(words.shortSpan(60), "1 h");
    assert.equal(words.shortSpan(61), "1 h 1 min");
    assert.equal(words.shortSpan(35791394), "more than a day");
    assert.equal(words.spokenSpan(1), "1 minute");
    assert.equal(words.spokenSpan(125), "2 hours 5 minutes");
});

test("an age is given in seconds below a minute", () => {
    assert.equal(words.ageText(-0.5), "0 s");
    assert.equal(words.ageText(59.9), "59 s");
    assert.equal(words.ageText(60), "1 min");
    assert.equal(words.ageText(90000), "more than a day");
});

test("lateness is that of the times shown", () => {
    assert.equal(viewOf({ scheduled: 25200, delay: 59 }).headline, "On time");
    assert.equal(viewOf({ scheduled: 25259, delay: 1 }).headline, "Expected 07:01");
    assert.equal(viewOf({ scheduled: 25259, delay: 1 }).detail, "1 min late");
    assert.equal(viewOf({ scheduled: 25200, delay: -1 }).detail, "1 min early");
});

test("a track is long that is a name", () => {
    for (const short of ["", "1", "12 B", "NB", "Track"]) assert.equal(words.isLongMark(short), false, short);
    for (const long of ["RE-16APR", "Westgate 1"]) assert.equal(words.isLongMark(long), true, long);
});

test("every line id has one of ten colours", () => {
    for (const id of [0, 9, 10, -1, -2147483648, 2147483647]) {
        const colour = words.colourOfLine(id);
        assert.ok(Number.isInteger(colour) && colour >= 0 && colour < 10, `${id}: ${colour}`);
    }
    assert.notEqual(words.colourOfLine(1), words.colourOfLine(2));
});

test("a train without destination is called by its last stop, its trip, or not known", () => {
    assert.equal(viewOf({ destination: null }).to, "Lännavik");
    assert.equal(viewOf({ destination: null, stops_ahead: [], name: "Special" }).to, "Special");
    assert.equal(viewOf({ destination: null, stops_ahead: [], name: "" }).to, "Destination not known");
});

test("a platform that a train approaches is said of its next train alone", () => {
    const coming = { state: "APPROACHING_STATION", platform_state: "VEHICLE_APPROACHING" };
    const waiting = { ...coming, state: "NOT_STARTED" };
    const statuses = (...departures) => words.viewsOf(departures.map(departure)).map(({ status }) => status);
    assert.deepEqual(statuses(coming, coming), ["approaching", "on-time"]);
    assert.deepEqual(statuses({ ...coming, cancelled: true }, coming), ["cancelled", "approaching"]);
    assert.deepEqual(statuses(waiting, coming), ["on-time", "on-time"]);
    const other = { platform: { id: 10, name: "Harbour Central 2", track: "2" } };
    assert.deepEqual(statuses(coming, { ...coming, ...other }), ["approaching", "approaching"]);
});

test("codes that have no name are no state of the board's", () => {
    assert.equal(viewOf({ state: 4711, platform_state: -3, priority: 12 }).headline, "On time");
    assert.deepEqual(viewOf({ priority: 12 }).notes, []);
});

test("a train that calls twice at a station has two rows of its own", () => {
    const twice = words.viewsOf([departure({ service_id: 3 }), departure({ service_id: 3 })]);
    assert.deepEqual(
        twice.map(({ key }) => key),
        ["3/1", "3/2"],
    );
});

test("a delay is news when it appears, and by two minutes afterwards", () => {
    assert.equal(words.delayIsNews(0, 0), false);
    assert.equal(words.delayIsNews(1, 0), true);
    assert.equal(words.delayIsNews(2, 1), false);
    assert.equal(words.delayIsNews(3, 1), true);
    assert.equal(words.delayIsNews(0, 5), true);
    const before = viewOf({ service_id: 1, scheduled: 25200, delay: 300 });
    const now = viewOf({ service_id: 1, scheduled: 25200 });
    assert.deepEqual(words.changesOf(before, now, 5), ["The 07:00 to Lännavik is on time again."]);
});
