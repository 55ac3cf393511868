// What a departure says on the board: takes one of the API's departures, gives texts and nothing of the page.

const kLongestMark = 5;

/** Whole minutes between the two times as they are shown; below 0 when it is early. */
export function minutesLate(departure) {
    return Math.floor(departure.expected / 60) - Math.floor(departure.scheduled / 60);
}

function inHoursAndMinutes(minutes, hourWord, minuteWord) {
    if (minutes >= 24 * 60) return "more than a day";
    const hours = Math.floor(minutes / 60);
    const rest = minutes % 60;
    return [hours > 0 && hourWord(hours), (rest > 0 || hours === 0) && minuteWord(rest)].filter(Boolean).join(" ");
}

const plural = (word) => (count) => `${count} ${word}${count === 1 ? "" : "s"}`;

/** "8 min", "1 h 5 min", as there is room for on a board. */
export function shortSpan(minutes) {
    return inHoursAndMinutes(
        minutes,
        (hours) => `${hours} h`,
        (rest) => `${rest} min`,
    );
}

/** "8 minutes", "1 hour 5 minutes", as it is read aloud. */
export function spokenSpan(minutes) {
    return inHoursAndMinutes(minutes, plural("hour"), plural("minute"));
}

/** How long ago something was, in seconds below a minute. */
export function ageText(seconds) {
    return seconds < 60 ? `${Math.max(0, Math.floor(seconds))} s` : shortSpan(Math.floor(seconds / 60));
}

/** Whether a track or a line's mark is no number or few letters but a name, which stands smaller. */
export function isLongMark(text) {
    return text.length > kLongestMark;
}

/** One of ten colours; neighbouring ids get different ones. */
export function colourOfLine(lineId) {
    return ((lineId % 10) + 10) % 10;
}

function earlyOrLate(minutes, span) {
    if (minutes === 0) return "";
    return `${span(Math.abs(minutes))} ${minutes > 0 ? "late" : "early"}`;
}

// A platform's state is said of its next train, which is the first of the list there that runs.
function nextAtItsPlatform(departures) {
    const next = new Map();
    for (const departure of departures) {
        const platform = departure.platform.id;
        if (!departure.cancelled && !next.has(platform)) next.set(platform, departure);
    }
    return new Set(next.values());
}

const kComing = new Set(["VEHICLE_APPROACHING", "VEHICLE_DOES_NOT_STOP"]);

function isNear(departure, isNext) {
    return isNext && departure.state !== "NOT_STARTED" && kComing.has(departure.platform_state);
}

function statusOf(departure, isNext) {
    const minutes = minutesLate(departure);
    const delay = earlyOrLate(minutes, shortSpan);
    const is = (service, platform) => departure.state === service || departure.platform_state === platform;

    if (departure.cancelled) return { status: "cancelled", headline: "Cancelled", detail: "" };
    if (!departure.is_stopping) return { status: "passing", headline: "Does not stop", detail: delay };
    if (departure.at_platform) {
        if (is("DEPARTING_STATION", "VEHICLE_DEPARTING"))
            return { status: "here", headline: "Departing", detail: delay };
        if (is("BOARDING", "VEHICLE_BOARDING")) return { status: "boarding", headline: "Boarding", detail: delay };
        return { status: "here", headline: "At platform", detail: delay };
    }
    if (isNear(departure, isNext)) return { status: "approaching", headline: "Approaching", detail: delay };
    if (minutes === 0) return { status: "on-time", headline: "On time", detail: "" };
    return { status: "expected", headline: `Expected ${departure.expected_text}`, detail: delay };
}

const kPatterns = { LIMITED_STOPS: "Limited stops", EXPRESS: "Express" };

function notesOf(departure) {
    const notes = [];
    if (departure.last_train && !departure.cancelled) notes.push({ kind: "last", text: "Last train" });
    if (kPatterns[departure.priority]) notes.push({ kind: "pattern", text: kPatterns[departure.priority] });
    return notes;
}

/** The words before the names of the stops ahead, and the names. */
function callsOf(departure, near) {
    if (departure.cancelled) return { words: "This train does not run", names: [] };
    if (!departure.is_stopping) {
        return { words: near ? "Passing train, stand back" : "Passing train, do not board", names: [] };
    }
    const names = departure.stops_ahead.map((stop) => stop.name);
    if (names.length === 0) return { words: "", names };
    return { words: "Calls at: ", names };
}

function destinationOf(departure) {
    return (
        departure.destination?.name || departure.stops_ahead.at(-1)?.name || departure.name || "Destination not known"
    );
}

function lineOf(line) {
    if (!line) return null;
    return { text: line.abrv || line.name || String(line.id), name: line.name, colour: colourOfLine(line.id) };
}

/**
 * What the board shows of each departure, in their order: plain texts. `key` is the train's own as long as it is
 * listed, whatever platform it uses.
 */
export function viewsOf(departures) {
    const next = nextAtItsPlatform(departures);
    const calls = new Map();
    return departures.map((departure) => {
        const nth = (calls.get(departure.service_id) ?? 0) + 1;
        calls.set(departure.service_id, nth);
        const isNext = next.has(departure);
        const near = isNear(departure, isNext);
        return {
            key: `${departure.service_id}/${nth}`,
            at: departure.scheduled_text,
            expected: departure.expected_text,
            minutes: minutesLate(departure),
            line: lineOf(departure.line),
            to: destinationOf(departure),
            from: departure.platform.track,
            notes: notesOf(departure),
            calls: callsOf(departure, near),
            near,
            ...statusOf(departure, isNext),
        };
    });
}

/** What has to be said aloud of a train that was known as `before`; `saidMinutes` is the delay last said of it. */
export function changesOf(before, now, saidMinutes) {
    const train = `The ${now.at} to ${now.to}`;
    if (now.status === "cancelled") return before.status === "cancelled" ? [] : [`${train} is cancelled.`];

    const changes = [];
    if (before.status === "cancelled") changes.push(`${train} runs after all.`);
    if (before.from !== now.from) changes.push(`${train} now leaves from platform ${now.from}.`);
    if (delayIsNews(now.minutes, saidMinutes)) {
        changes.push(
            now.minutes === 0
                ? `${train} is on time again.`
                : `${train} is expected at ${now.expected}, ${earlyOrLate(now.minutes, spokenSpan)}.`,
        );
    }
    if (now.status === "boarding" && before.status !== "boarding") {
        changes.push(`${train} is boarding at platform ${now.from}.`);
    }
    if (now.status === "passing" && now.near && !before.near) {
        changes.push(`Platform ${now.from}: a train passes without stopping. Stand back.`);
    }
    return changes;
}

/** A first delay is news; then two minutes more or less are, so that one that wavers is not said over and over. */
export function delayIsNews(minutes, saidMinutes) {
    return saidMinutes === 0 ? minutes !== 0 : Math.abs(minutes - saidMinutes) >= 2;
}
