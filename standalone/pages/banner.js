// The banner: says that what is shown may be old, for how long, or why. Takes the state of the service and of the
// connection; the age counts up by itself, the sentence is said aloud once.
import { setText } from "./dom.js";
import { ageText } from "./words.js";

const kGraceMs = 2000;

export class Banner {
    /** `subject` is who has lost the connection: "This board". */
    constructor(node, announcer, subject) {
        this._node = node;
        this._announcer = announcer;
        this._subject = subject;
        this._status = null;
        this._statusAt = 0;
        this._lostAt = null;
        this._kind = "fresh";
        setInterval(() => this._draw(), 1000);
    }

    /** The state of the service, as it is now. */
    takeStatus(status) {
        this._status = status;
        this._statusAt = performance.now();
        this._draw();
    }

    /** Whether the service is reached. A connection that comes back at once is not spoken of. */
    takeContact(isReached) {
        if (isReached) this._lostAt = null;
        else this._lostAt ??= performance.now();
        this._draw();
    }

    _draw() {
        const { kind, text, spoken } = this._sentence();
        this._node.hidden = kind === "fresh";
        setText(this._node, text);
        if (kind === this._kind) return;
        this._kind = kind;
        this._announcer.say(spoken);
    }

    _sentence() {
        const now = performance.now();
        if (this._lostAt !== null && now - this._lostAt >= kGraceMs) return this._lost(now);
        if (this._status?.stale) return this._stale(now);
        if (this._status?.server_status === "offline") {
            const text = "The signalling server is offline. Times may be wrong.";
            return { kind: "offline", text, spoken: text };
        }
        if (this._status?.part_of_snapshot) {
            const text = "Trains are still being read in. Some may be missing yet.";
            return { kind: "part", text, spoken: text };
        }
        return { kind: "fresh", text: "", spoken: "The times are up to date again." };
    }

    _stale(now) {
        const silent = this._status.silent_seconds;
        const since = silent === null ? "" : ` for ${ageText(silent + (now - this._statusAt) / 1000)}`;
        return {
            kind: "stale",
            text: `No news from the signalling side${since}. Times may be wrong.`,
            spoken: "There is no news from the signalling side. Times may be wrong.",
        };
    }

    _lost(now) {
        if (!this._status) {
            const text = `${this._subject} does not reach the information service and is trying again.`;
            return { kind: "lost", text, spoken: text };
        }
        const lost = `${this._subject} has lost its connection and is trying again.`;
        const known = `Showing what was known at ${this._status.clock.text}`;
        return {
            kind: "lost",
            text: `${lost} ${known}, ${ageText((now - this._statusAt) / 1000)} ago.`,
            spoken: `${lost} ${known}.`,
        };
    }
}
