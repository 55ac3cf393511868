// docs/openapi.json held against the answers of the program: every path with every status that is described, on a small
// feed and on the sample railway; and no answer that is not described.
import assert from "node:assert/strict";
import { after, before } from "node:test";
import { Description, fetchRaw } from "./support/description.mjs";
import * as rail from "./support/railway.mjs";
import { Service } from "./support/service.mjs";
import { kHangMs, test } from "./support/waiting.mjs";

// Metrics are refused to other machines alone, and the tests stay on this one.
const kNotFromHere = ["/metrics 403"];
const kUnknownId = -5;
const kTables = ["lines", "vehicles", "stations", "platforms", "trips", "trip-stops", "services", "service-stops"];

let description;
let service;

before(async () => {
    description = await Description.read(process.env.PIS_OPENAPI);
    service = await Service.start();
});

after(async () => {
    assert.equal(await service.stop(), 0);
});

/** Asks, holds the answer against the description, and expects this status. */
async function expect(status, path, { id, query = "", headers = {}, of = service } = {}) {
    const asked = path.replace("{id}", id) + query;
    const answer = await fetchRaw(of.origin, asked, headers);
    assert.deepEqual(description.faults(path, answer), [], `${asked}: ${answer.status}`);
    assert.equal(answer.status, status, `${asked}: ${answer.body}`);
    return answer;
}

const jsonOf = (answer) => JSON.parse(answer.body.toString("utf8"));
const isTable = (path) => kTables.some((table) => path === `/api/v1/${table}`);
const isRecord = (path) => kTables.some((table) => path === `/api/v1/${table}/{id}`);
const isDepartures = (path) => path.endsWith("/{id}/departures");

async function anIdFor(path, of = service) {
    const table = path.match(/^\/api\/v1\/([a-z-]+)\/\{id\}/)[1];
    return (await of.get(`/api/v1/${table}`)).items[0].id;
}

async function expectUnchanged(path, options = {}) {
    const first = await expect(200, path, options);
    const again = await expect(304, path, { ...options, headers: { "If-None-Match": first.headers.etag } });
    assert.equal(again.headers.etag, first.headers.etag);
    await expect(200, path, { ...options, headers: { "If-None-Match": '"another"' } });
}

async function expectCompressed(path, options = {}) {
    const plain = await expect(200, path, options);
    const packed = await expect(200, path, { ...options, headers: { "Accept-Encoding": "gzip" } });
    if (plain.body.length < 2000) return;
    assert.equal(packed.headers["content-encoding"], "gzip", path);
    assert.ok(packed.body.length < plain.body.length, path);
    assert.notEqual(packed.headers.etag, plain.headers.etag, "a tag of its own");
}

test("before anything is known", async () => {
    for (const path of description.paths) {
        if (isTable(path)) await expect(503, path);
        if (isRecord(path)) await expect(503, path, { id: 1 });
        if (isDepartures(path)) assert.equal(jsonOf(await expect(200, path, { id: 2 })).status, "no_data");
    }
    await expect(503, "/api/v1/boards");
    await expect(503, "/readyz");
    await expect(503, "/api/v1/changes", { query: "?station=2" });
    await expect(200, "/healthz");
    await expect(200, "/api/v1/status");
});

test("the tables, their records and the departures of a small railway", async () => {
    service.feed(
        rail.clock("06:50"),
        ...rail.network(),
        { update: 3, id: 4, fields: ["Skarv", "SKV", "4", "7"] },
        ...rail.train(7, "07:00", { vehicle: 4 }),
        ...rail.train(8, "07:10", { tripId: 2 }),
        ...rail.train(9, "07:20"),
        rail.serviceState(9, rail.stopsOf(9), rail.kCancelled),
        rail.serviceState(8, rail.stopsOf(8), 4711),
    );
    await service.until("/api/v1/service-stops", (answer) => answer.count === 9);
    await service.until("/api/v1/services/8", (row) => row.state !== "NOT_STARTED");
    for (const path of description.paths) {
        if (path.startsWith("/api/v1/changes")) continue;
        const id = path.includes("{id}") ? await anIdFor(path) : undefined;
        await expect(200, path, { id });
        if (!description.statusesOf(path).includes(304)) continue;
        await expectUnchanged(path, { id });
        await expectCompressed(path, { id });
    }
    const departures = jsonOf(await expect(200, "/api/v1/stations/{id}/departures", { id: 2 }));
    assert.equal(departures.departures.length, 3);
    assert.equal(
        jsonOf(await expect(200, "/api/v1/stations/{id}/departures", { id: 2, query: "?limit=1" })).departures.length,
        1,
    );
});

test("what changed since a revision, and revisions that are not known any more", async () => {
    for (const table of kTables) {
        const path = `/api/v1/${table}`;
        const { revision } = jsonOf(await expect(200, path));
        const since = jsonOf(await expect(200, path, { query: `?since=${revision}` }));
        assert.deepEqual([since.items, since.removed], [[], []]);
        const [start, number] = revision.split("-");
        const before = `${start.slice(0, -1)}${start.endsWith("1") ? "2" : "1"}-${number}`;
        assert.notEqual(jsonOf(await expect(410, path, { query: `?since=${before}` })).revision, before);
        await expect(400, path, { query: "?since=yesterday" });
    }
    const { revision } = await service.get("/api/v1/lines");
    service.feed(rail.line(2, "Branch", "B2"), rail.line(3, "Loop", "L3"), rail.remove(2, 2));
    await service.until("/api/v1/lines", ({ items }) => items.length === 2 && items[1].id === 3);
    const since = jsonOf(await expect(200, "/api/v1/lines", { query: `?since=${revision}` }));
    assert.deepEqual(
        since.items.map(({ id }) => id),
        [3],
    );
});

test("choices of a station", async () => {
    for (const path of description.paths.filter(
        (each) => isTable(each) && description.parametersOf(each).includes("station"),
    )) {
        assert.ok(jsonOf(await expect(200, path, { query: "?station=2" })).count > 0, path);
        await expectUnchanged(path, { query: "?station=2" });
        assert.equal(jsonOf(await expect(404, path, { query: "?station=77" })).parameter, "station");
        assert.equal(jsonOf(await expect(400, path, { query: "?station=two" })).parameter, "station");
    }
});

test("what is wrong is said in a problem document that names the parameter", async () => {
    for (const path of description.paths) {
        if (!description.statusesOf(path).includes(400)) continue;
        const id = path.includes("{id}") ? await anIdFor(path) : undefined;
        assert.equal(jsonOf(await expect(400, path, { id, query: "?nonsense=1" })).parameter, "nonsense", path);
        if (id === undefined) continue;
        for (const wrong of ["seven", "1.5", "99999999999", "7x"]) {
            assert.equal(jsonOf(await expect(400, path, { id: wrong })).parameter, "id", `${path} ${wrong}`);
        }
        assert.equal(jsonOf(await expect(404, path, { id: kUnknownId })).parameter, "id", path);
    }
    for (const limit of ["0", "-1", "many", "100000"]) {
        const answer = await expect(400, "/api/v1/stations/{id}/departures", { id: 2, query: `?limit=${limit}` });
        assert.equal(jsonOf(answer).parameter, "limit");
    }
    assert.equal(jsonOf(await expect(400, "/api/v1/changes", { query: "?tables=wagons" })).parameter, "tables");
    assert.equal(jsonOf(await expect(404, "/api/v1/changes", { query: "?station=77" })).parameter, "station");
});

test("problems that may stand anywhere", async () => {
    for (const [status, path, headers, method] of [
        [404, "/api/v1/wagons", {}, "GET"],
        [404, "/../etc/passwd", {}, "GET"],
        [405, "/api/v1/lines", {}, "POST"],
        [405, "/board", {}, "DELETE"],
        [421, "/api/v1/lines", { Host: "rebound.example" }, "GET"],
        [403, "/api/v1/lines", { Origin: "http://elsewhere.example" }, "GET"],
    ]) {
        const answer = await fetchRaw(service.origin, path, headers, method);
        assert.equal(answer.status, status, `${method} ${path}`);
        assert.equal(answer.headers["content-type"].split(";")[0], "application/problem+json");
        assert.deepEqual(description.faultsByName("Problem", jsonOf(answer)), []);
    }
    const head = await fetchRaw(service.origin, "/api/v1/lines", {}, "HEAD");
    assert.deepEqual([head.status, head.body.length], [200, 0]);
});

/** Reads a stream of events until the predicate, which is asked as they come, is satisfied by all so far. */
async function readEvents(query, headers, isEnough) {
    const stop = new AbortController();
    const timeOut = setTimeout(() => stop.abort(), kHangMs);
    const response = await fetch(`${service.origin}/api/v1/changes${query}`, { headers, signal: stop.signal });
    const type = response.headers.get("content-type");
    assert.deepEqual(
        description.faults("/api/v1/changes", { status: response.status, headers: { "content-type": type } }),
        [],
    );
    let text = "";
    let events = [];
    const decoder = new TextDecoder();
    for await (const chunk of response.body) {
        text += decoder.decode(chunk, { stream: true });
        events = text
            .split("\n\n")
            .slice(0, -1)
            .map(eventOf)
            .filter(({ kind }) => kind);
        if (isEnough(events)) break;
    }
    clearTimeout(timeOut);
    stop.abort();
    return events;
}

function eventOf(text) {
    const fields = Object.fromEntries(
        text
            .split("\n")
            .filter((line) => !line.startsWith(":"))
            .map((line) => [line.slice(0, line.indexOf(":")), line.slice(line.indexOf(":") + 2)]),
    );
    return { kind: fields.event, id: fields.id, data: fields.data && JSON.parse(fields.data) };
}

const kRowSchemas = {
    lines: "Line",
    vehicles: "Vehicle",
    stations: "Station",
    platforms: "Platform",
    trips: "Trip",
    trip_stops: "TripStop",
    services: "Service",
    service_stops: "ServiceStop",
};

function faultsOfEvent({ kind, data }) {
    const schema = { reset: "Reset", remove: "Removal", revision: "Tick", update: kRowSchemas[data.table] }[kind];
    return schema ? description.faultsByName(schema, data) : [`an event "${kind}" is not described`];
}

test("the stream of changes: the whole, what changes, what goes, and where it was left", async () => {
    const kinds = (events) => events.map(({ kind }) => kind);
    // Each step is taken once what it builds on has come.
    const steps = [
        { on: "revision", feed: [rail.line(4, "New", "N4"), rail.serviceStop(72, 7, 102, rail.at("07:00"), 60)] },
        { on: "update", feed: [rail.remove(2, 4)] },
    ];
    const events = await readEvents("", {}, (seen) => {
        if (steps.length > 0 && kinds(seen).includes(steps[0].on)) service.feed(...steps.shift().feed);
        return kinds(seen).includes("remove");
    });
    for (const event of events) assert.deepEqual(faultsOfEvent(event), [], event.kind);
    assert.equal(events[0].kind, "reset");
    assert.equal(events[1].kind, "revision");
    assert.ok(kinds(events).includes("update"));
    assert.equal(events[1].id, events[1].data.revision);

    const [first] = await readEvents("", { "Last-Event-ID": events[1].id }, (seen) => seen.length > 0);
    assert.notEqual(first.kind, "reset", "resumed");
    const [other] = await readEvents("?tables=lines", {}, (seen) => seen.length > 0);
    assert.deepEqual(Object.keys(other.data.tables), ["lines"]);
    const [station] = await readEvents("?station=2", {}, (seen) => seen.length > 0);
    assert.deepEqual(
        station.data.tables.stations.map(({ id }) => id),
        [2],
    );
    assert.deepEqual(faultsOfEvent(station), []);
});

test("every row and departure of the sample railway is as described", async () => {
    const sample = await Service.start(
        "--link",
        `sim:${process.env.PIS_SAMPLES}/harbour-line.json`,
        "--start",
        "07:30",
    );
    try {
        await sample.until("/api/v1/stations", (answer) => answer.count === 15);
        for (const table of kTables) {
            const answer = jsonOf(await expect(200, `/api/v1/${table}`, { of: sample }));
            assert.equal(answer.count, answer.items.length);
            assert.ok(answer.count > 0, table);
            await expectRow(sample, table, answer.items[0].id);
        }
        for (const { id } of (await sample.get("/api/v1/stations")).items) {
            await expect(200, "/api/v1/stations/{id}/departures", { id, of: sample });
        }
        for (const { id } of (await sample.get("/api/v1/platforms")).items) {
            await expect(200, "/api/v1/platforms/{id}/departures", { id, of: sample, query: "?limit=200" });
        }
        await expectCompressed("/api/v1/service-stops", { of: sample });
    } finally {
        await sample.stop();
    }
});

async function expectRow(of, table, id) {
    const row = jsonOf(await expect(200, `/api/v1/${table}/{id}`, { id, of }));
    assert.equal(row.id, id);
}

test("everything that is described was met", () => {
    assert.deepEqual(description.notMet(), kNotFromHere);
});
