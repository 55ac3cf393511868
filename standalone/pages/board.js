// The departure board of a station or a platform: reads the address of the page, follows the changes, asks for the
// departures and hands them to the rows, the face for "nothing to list" and the announcer.
import { Announcer } from "./announcer.js";
import { Answers } from "./answers.js";
import { Banner } from "./banner.js";
import { ChangesStream } from "./changesStream.js";
import { byId, setText } from "./dom.js";
import { Rows } from "./rows.js";
import { isLongMark, viewsOf } from "./words.js";

const kMostRows = 30;

class Board {
    constructor({ of, id, rows }) {
        this._of = of;
        this._ownName = `${of === "station" ? "Station" : "Platform"} ${id}`;
        this._moment = null;
        this._rows = new Rows(byId("rows"), byId("main"));
        this._announcer = new Announcer(byId("heard"));
        this._banner = new Banner(byId("banner"), this._announcer, "This board");
        this._answers = new Answers(`/api/v1/${of}s/${id}/departures?limit=${rows}`, {
            onAnswer: (answer) => this._take(answer),
            onProblem: (problem) => this._takeProblem(problem),
            onContact: () => this._takeContact(),
        });
        this._stream = new ChangesStream({
            onStatus: (status) => this._takeStatus(status),
            onContact: () => {
                this._takeContact();
                if (this._stream.isOpen) this._answers.refresh();
            },
        });
        byId("trains").dataset.of = of;
    }

    start() {
        showFace("no-data", "Waiting for train data", "The departures appear here as soon as they are known.");
        this._answers.refresh();
    }

    _takeStatus(status) {
        setText(byId("clock"), status.clock.text);
        this._banner.takeStatus(status);
        const moment = `${status.revision} ${status.clock.text}`; // departures change with either
        if (moment === this._moment) return;
        this._moment = moment;
        this._answers.refresh();
    }

    _takeContact() {
        this._banner.takeContact(this._answers.isReached !== false && this._stream.isOpen !== false);
        if (this._stream.isOpen === null && !this._answers.isReached) this._follow(0);
    }

    // The changes of one station are enough for its board. Where it is not known (yet), the ticks are followed beside
    // the smallest table.
    _follow(stationId) {
        this._stream.follow(stationId ? `/api/v1/changes?station=${stationId}` : "/api/v1/changes?tables=lines");
    }

    _take(answer) {
        this._follow(answer.status === "no_data" ? 0 : (answer.station?.id ?? answer.platform?.station_id ?? 0));
        showPlace(answer, this._ownName);
        const views = answer.status === "departures" ? viewsOf(answer.departures) : [];
        this._showEither(answer.status);
        this._announcer.hear(views, this._rows.draw(views));
    }

    _showEither(status) {
        if (status === "departures") return hideFace();
        const [kind, title, text] =
            status === "no_trains"
                ? ["no-trains", "No more trains from here today", "Trains appear here as soon as they are known."]
                : ["no-data", "Waiting for train data", "The departures appear here as soon as they are known."];
        if (showFace(kind, title, text)) this._announcer.say(`${title}.`);
    }

    _takeProblem(problem) {
        this._follow(0);
        if (problem.status === 503) return this._take({ status: "no_data" });
        this._rows.draw([]);
        this._announcer.hear([], []);
        showPlace({}, this._ownName);
        const title = problem.status === 404 ? `This ${this._of} is not known` : "This board cannot be shown";
        if (showFace("unknown", title, problem.detail || problem.title)) this._announcer.say(`${title}.`);
    }
}

function showPlace({ station, platform }, nameWithoutAnswer) {
    const name = station?.name || platform?.station_name || platform?.name || nameWithoutAnswer;
    const track = platform && platform.track !== name ? platform.track : ""; // a platform may be all of its station
    setText(byId("place"), name);
    byId("kind").hidden = false;
    byId("track").hidden = track === "";
    setText(byId("track-name"), track);
    byId("track-name").toggleAttribute("data-long", isLongMark(track));
    document.title = `Departures: ${name}${track && `, platform ${track}`}`;
}

/** Shows why there is nothing to list; answers whether that is another reason than before. */
function showFace(kind, title, text) {
    const face = byId("face");
    const isNew = face.hidden || face.dataset.kind !== kind;
    face.hidden = false;
    face.dataset.kind = kind;
    byId("trains").hidden = true;
    byId("face-link").hidden = kind !== "unknown";
    setText(byId("face-title"), title);
    setText(byId("face-text"), text);
    return isNew;
}

function hideFace() {
    byId("face").hidden = true;
    byId("trains").hidden = false;
}

/** What the page's address asks for, or why it cannot be had. */
function readAddress(parameters) {
    const of = ["station", "platform"].filter((name) => parameters.has(name));
    if (of.length === 0) return { fault: "The address has to name a station or a platform, as in /board?station=5." };
    if (of.length > 1) return { fault: "The address names a station and a platform. A board is of one of them." };
    const id = parameters.get(of[0]);
    if (!/^-?\d{1,10}$/.test(id)) return { fault: `In the address, ${of[0]} has to be a whole number.` };
    const rows = parameters.get("rows") ?? String(kMostRows);
    if (!/^\d{1,2}$/.test(rows) || rows < 1 || rows > kMostRows) {
        return { fault: `In the address, rows has to be a whole number from 1 to ${kMostRows}.` };
    }
    return { of: of[0], id, rows };
}

const parameters = new URLSearchParams(location.search);
document.documentElement.dataset.theme = parameters.get("theme") ?? "";
const asked = readAddress(parameters);
if (asked.fault) showFace("unknown", "This board cannot be shown", asked.fault);
else new Board(asked).start();
