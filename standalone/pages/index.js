// The list of stations with their boards, and the state of the service: for people who set up or look after boards.
import { Announcer } from "./announcer.js";
import { Answers } from "./answers.js";
import { Banner } from "./banner.js";
import { ChangesStream } from "./changesStream.js";
import { byId, element, fromFeed, setText } from "./dom.js";

const announcer = new Announcer(byId("heard"));
const banner = new Banner(byId("banner"), announcer, "This page");

const stream = new ChangesStream({
    onStatus: (status) => showStatus(status),
    onChange: () => boards.refresh(),
    onContact: () => takeContact(),
});

const boards = new Answers("/api/v1/boards", {
    onAnswer: (answer) => showStations(answer.stations),
    onProblem: (problem) => setText(byId("stations-note"), problem.detail || problem.title),
    onContact: () => takeContact(),
});

function takeContact() {
    banner.takeContact(stream.isOpen !== false && boards.isReached !== false);
}

const byName = new Intl.Collator("en", { numeric: true });

function showStations(stations) {
    stations.sort((one, other) => byName.compare(one.name, other.name));
    setText(byId("stations-note"), stations.length === 0 ? "No station is known yet." : "");
    byId("stations-note").hidden = stations.length > 0;
    byId("stations").replaceChildren(...stations.map(stationItem));
}

function stationItem(station) {
    const platforms = station.platforms.sort((one, other) => byName.compare(one.name, other.name));
    const name = station.name || `Station ${station.id}`;
    return element(
        "li",
        { class: "station" },
        element("a", { class: "station-name", href: `/board?station=${station.id}` }, fromFeed(name)),
        element("ul", { class: "tracks" }, ...platforms.map((platform) => platformItem(platform, name))),
    );
}

function platformItem(platform, stationName) {
    const track = platform.track || String(platform.id);
    const link = element("a", { href: `/board?platform=${platform.id}` }, fromFeed(track));
    link.setAttribute("aria-label", `${stationName}, platform ${track}`);
    return element("li", {}, link);
}

const kServerWords = { online: "online", offline: "offline", unknown: "not known" };

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
        "Signalling server": kServerWords[status.server_status] ?? status.server_status,
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
boards.refresh();
// A new platform changes its station's list, too; the platforms themselves change with every train.
stream.follow("/api/v1/changes?tables=stations");
