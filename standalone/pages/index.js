// The list of stations with their boards, and the state of the service: for people who set up or look after boards.
import { Announcer } from "./announcer.js";
import { Answers } from "./answers.js";
import { Banner } from "./banner.js";
import { ChangesStream } from "./changesStream.js";
import { byId, element, fromFeed, setText } from "./dom.js";

const announcer = new Announcer(byId("heard"));
const banner = new Banner(byId("banner"), announcer, "This page");
const lists = { stations: null, platforms: null };

const stream = new ChangesStream({
    onStatus: (status) => showStatus(status),
    onChange: () => Object.values(answers).forEach((answer) => answer.refresh()),
    onContact: () => takeContact(),
});

const answers = {};
for (const table of Object.keys(lists)) {
    answers[table] = new Answers(`/api/v1/${table}`, {
        onAnswer: (answer) => {
            lists[table] = answer.items;
            showStations();
        },
        onProblem: (problem) => setText(byId("stations-note"), problem.detail || problem.title),
        onContact: () => takeContact(),
    });
}

function takeContact() {
    banner.takeContact(stream.isOpen !== false && Object.values(answers).every((answer) => answer.isReached !== false));
}

const byName = new Intl.Collator("en", { numeric: true });

function showStations() {
    if (!lists.stations || !lists.platforms) return;
    const stations = [...lists.stations].sort((one, other) => byName.compare(one.name, other.name));
    setText(byId("stations-note"), stations.length === 0 ? "No station is known yet." : "");
    byId("stations-note").hidden = stations.length > 0;
    byId("stations").replaceChildren(...stations.map(stationItem));
}

function stationItem(station) {
    const platforms = lists.platforms
        .filter((platform) => platform.station_id === station.id)
        .sort((one, other) => byName.compare(one.name, other.name));
    const name = station.name || `Station ${station.id}`;
    return element(
        "li",
        { class: "station" },
        element("a", { class: "station-name", href: `/board?station=${station.id}` }, fromFeed(name)),
        element("ul", { class: "tracks" }, ...platforms.map((platform) => platformItem(platform, name))),
    );
}

function platformItem(platform, stationName) {
    const track = trackOf(platform, stationName);
    const link = element("a", { href: `/board?platform=${platform.id}` }, fromFeed(track));
    link.setAttribute("aria-label", `${stationName}, platform ${track}`);
    return element("li", {}, link);
}

/** A platform's name without the station's in front of it. */
function trackOf(platform, stationName) {
    const name = platform.name || platform.abrv || String(platform.id);
    const track = name.startsWith(stationName) ? name.slice(stationName.length).trim() : "";
    return track || name;
}

const kLinkWords = {
    connecting: "is being connected",
    up: "connected",
    down: "down",
    ended: "read to its end",
};

function showStatus(status) {
    setText(byId("clock"), status.clock.text);
    banner.takeStatus(status);
    const link = [kLinkWords[status.link.state] ?? status.link.state, status.link.detail].filter(Boolean).join(": ");
    const state = {
        "Comes from": status.link.name,
        Link: link,
        "Signalling server": status.server_online ? "online" : "offline",
        "Automatic messages": status.automatic_messages ? "on" : "off",
        Clock: `${status.clock.text}, ${status.clock.source === "feed" ? "the feed's" : "this machine's"}`,
        Revision: status.revision,
    };
    const list = byId("state");
    if (list.children.length === 0) {
        list.append(...Object.keys(state).flatMap((name) => [element("dt", {}, name), element("dd")]));
    }
    const values = list.querySelectorAll("dd");
    Object.values(state).forEach((text, index) => setText(values[index], text));
}

document.documentElement.dataset.theme = new URLSearchParams(location.search).get("theme") ?? "";
for (const answer of Object.values(answers)) answer.refresh();
// A new platform changes its station's list, too; the platforms themselves change with every train.
stream.follow("/api/v1/changes?tables=stations");
