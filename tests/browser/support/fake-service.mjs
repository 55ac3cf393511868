// A service whose every answer the test writes: for the faces of the board that a feed hardly shows, all at once, and
// for a connection that is lost and found. Serves the pages from their folder, as the program does from its memory.
import { readFile } from "node:fs/promises";
import { createServer } from "node:http";
import { once } from "node:events";

const kTypes = { css: "text/css", html: "text/html", js: "text/javascript", svg: "image/svg+xml", woff2: "font/woff2" };
const kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; font-src 'self'; " +
    "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

export function statusOf(changes = {}) {
    return {
        revision: "fake-1",
        ready: true,
        stale: false,
        part_of_snapshot: false,
        clock: { seconds: 25260, text: "07:01", source: "feed" },
        link: { name: "fake", state: "up", since: "2018-05-14T05:00:00.000Z", detail: "" },
        server_online: true,
        server_status: "online",
        automatic_messages: true,
        last_record_at: "2018-05-14T05:01:00.000Z",
        silent_seconds: 0.5,
        stale_after: 90,
        ...changes,
    };
}

export class FakeService {
    constructor(pagesFolder) {
        this._folder = pagesFolder;
        this._streams = new Set();
        this._count = 1;
        this.status = statusOf();
        /** Bodies by path, without the query: objects, or { problem } documents. */
        this.answers = {};
        /** Requests of the API so far, path and query. */
        this.requests = [];
        this._server = createServer((request, response) => this._answer(request, response));
    }

    async start() {
        this._server.listen(this._port ?? 0, "127.0.0.1");
        await once(this._server, "listening");
        this._port = this._server.address().port;
        this.origin = `http://127.0.0.1:${this._port}`;
        return this;
    }

    async stop() {
        this._server.close();
        this._server.closeAllConnections();
        await once(this._server, "close");
        this._streams.clear();
        this._server = createServer((request, response) => this._answer(request, response));
    }

    /** Changes the state of the service and tells every stream; a change of the picture is a new revision. */
    tick(changes = {}) {
        this._count += 1;
        this.status = { ...this.status, revision: `fake-${this._count}`, ...changes };
        for (const stream of this._streams) this._send(stream);
    }

    get streams() {
        return this._streams.size;
    }

    _send(stream) {
        stream.write(`event: revision\nid: ${this.status.revision}\ndata: ${JSON.stringify(this.status)}\n\n`);
    }

    async _answer(request, response) {
        const path = request.url.split("?")[0];
        if (!path.startsWith("/api/")) return this._page(path, response);
        this.requests.push(request.url);
        if (path === "/api/v1/changes") return this._stream(request, response);
        const answer = this.answers[path] ?? { problem: { title: "Not Found", status: 404, detail: `No ${path}.` } };
        const body = answer.problem ?? answer;
        response.writeHead(answer.problem?.status ?? 200, {
            "Content-Type": answer.problem ? "application/problem+json" : "application/json",
            "Cache-Control": "no-cache",
        });
        response.end(JSON.stringify(body));
    }

    _stream(request, response) {
        response.writeHead(200, { "Content-Type": "text/event-stream", "Cache-Control": "no-cache" });
        response.write(`event: reset\ndata: {"revision":"${this.status.revision}","tables":{}}\n\n`);
        this._send(response);
        this._streams.add(response);
        request.on("close", () => this._streams.delete(response));
    }

    async _page(path, response) {
        const name = { "/": "index.html", "/board": "board.html" }[path] ?? path.replace("/pages/", "");
        try {
            const body = await readFile(`${this._folder}/${name}`);
            const type = kTypes[name.split(".").pop()];
            response.writeHead(200, { "Content-Type": type, "Content-Security-Policy": kPolicy });
            response.end(body);
        } catch {
            response.writeHead(404).end();
        }
    }
}

let made = 0;

/** One of the API's departures: an ordinary one, on time, but for what is given. */
export function departure(changes = {}) {
    made += 1;
    const scheduled = changes.scheduled ?? 25260 + made * 240;
    const delay = changes.delay ?? 0;
    const text = (seconds) => new Date(seconds * 1000).toISOString().slice(11, 16);
    return {
        service_id: made,
        service_stop_id: made,
        trip_id: 1,
        name: "Östermole – Lännavik",
        line: { id: 1, name: "Mole Line", abrv: "ML" },
        destination: { id: 9, name: "Lännavik" },
        platform: { id: 9, name: "Harbour Central 1", track: "1" },
        scheduled,
        scheduled_text: text(scheduled),
        expected: scheduled + delay,
        expected_text: text(scheduled + delay),
        delay,
        state: "RUNNING",
        state_text: "",
        platform_state: "NO_VEHICLE_SCHEDULED",
        at_platform: false,
        is_stopping: true,
        cancelled: false,
        last_train: false,
        priority: "ALL_STOPS",
        priority_text: "ALL_STOPS",
        vehicle: { id: 4, name: "Skarv", cars: 4 },
        stops_ahead: stops("Customs Quay", "Sankt Brida", "Färjehus", "Lännavik"),
        ...changes,
    };
}

export function stops(...names) {
    return names.map((name, index) => ({
        station_id: index + 1,
        name,
        platform_id: index + 1,
        scheduled: 26000,
        scheduled_text: "07:13",
        expected: 26000,
        expected_text: "07:13",
    }));
}

export const kStation = { id: 5, name: "Harbour Central", abrv: "HBC" };
export const kPlatform = {
    id: 9,
    name: "Harbour Central 1",
    track: "1",
    station_id: 5,
    station_name: "Harbour Central",
};

/** Departures in every state that the board has a face for. */
export function everyState() {
    const skarholt = { line: { id: 2, name: "Headland Line", abrv: "HL" }, destination: { id: 15, name: "Skærholt" } };
    const gronne = { line: { id: 2, name: "Headland Line", abrv: "HL" }, destination: { id: 10, name: "Grønnehoved" } };
    const ostermole = {
        destination: { id: 1, name: "Östermole" },
        stops_ahead: stops("Kranhöft", "Tidal Basin", "Ropewalk", "Östermole"),
    };
    const at = (id) => ({ platform: { id: 8 + id, name: `Harbour Central ${id}`, track: String(id) } });
    return [
        departure({
            scheduled: 25200,
            delay: 60,
            state: "BOARDING",
            platform_state: "VEHICLE_BOARDING",
            at_platform: true,
            ...at(1),
        }),
        departure({
            scheduled: 25260,
            ...ostermole,
            ...at(2),
            state: "APPROACHING_STATION",
            platform_state: "VEHICLE_APPROACHING",
        }),
        departure({
            scheduled: 25320,
            ...skarholt,
            ...at(3),
            is_stopping: false,
            priority: "EXPRESS",
            platform_state: "VEHICLE_DOES_NOT_STOP",
        }),
        departure({
            scheduled: 25500,
            delay: 480,
            ...gronne,
            ...at(4),
            stops_ahead: stops("Saltworks", "Lantern Road", "Grønnehoved"),
        }),
        departure({ scheduled: 25620, ...at(1), cancelled: true, state: "CANCELLED" }),
        departure({
            scheduled: 25740,
            ...ostermole,
            ...at(2),
            state: "IN_STATION",
            at_platform: true,
            platform_state: "VEHICLE_ON_PLATFORM",
        }),
        departure({ scheduled: 25860, delay: -120, ...skarholt, ...at(3), priority: "LIMITED_STOPS" }),
        departure({ scheduled: 25980, ...gronne, ...at(4), last_train: true }),
        departure({ scheduled: 26100, ...at(1) }),
        departure({ scheduled: 26220, delay: 4200, ...ostermole, ...at(2) }),
        departure({
            scheduled: 26340,
            ...skarholt,
            ...at(3),
            stops_ahead: stops("Granary Dock", "Åsholm", "Skærholt"),
        }),
        departure({ scheduled: 26460, line: null, destination: null, vehicle: null, ...at(4) }),
        departure({ scheduled: 26580, ...at(1) }),
        departure({ scheduled: 26700, ...ostermole, ...at(2) }),
    ];
}
