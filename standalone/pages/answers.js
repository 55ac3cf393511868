// Reads one address of the API again and again: when asked to, and after a while without being asked. One request
// is under way at a time, two a second at most; the browser's cache asks whether anything is new.

const kGapMs = 500;
const kLongestMs = 15000;
const kTimeOutMs = 10000;

const pause = (milliseconds) => new Promise((done) => setTimeout(done, milliseconds));

export class Answers {
    /**
     * `onAnswer(answer)` gets the body when it has changed, `onProblem(problem)` the document of a refusal with its
     * `status`, `onContact()` is called when the service is reached again or not any more.
     */
    constructor(path, { onAnswer, onProblem, onContact }) {
        this._path = path;
        this._onAnswer = onAnswer;
        this._onProblem = onProblem;
        this._onContact = onContact;
        this._last = null;
        this._running = false;
        this._wanted = false;
        this._timer = null;
        /** Whether the last request was answered; null before the first. */
        this.isReached = null;
    }

    /** Asks soon. Calls that come while one is under way become one request after it. */
    async refresh() {
        this._wanted = true;
        if (this._running) return;
        this._running = true;
        clearTimeout(this._timer);
        while (this._wanted) {
            this._wanted = false;
            await this._ask().catch((error) => this._forget(error));
            await pause(kGapMs);
        }
        this._running = false;
        this._timer = setTimeout(() => this.refresh(), kLongestMs);
    }

    async _ask() {
        const answer = await this._fetch();
        const reached = answer !== null;
        if (reached !== this.isReached) {
            this.isReached = reached;
            this._onContact();
        }
        if (!reached || answer.text === this._last) return;
        this._last = answer.text;
        if (answer.ok) this._onAnswer(JSON.parse(answer.text));
        else this._onProblem(problemOf(answer));
    }

    // An answer that cannot be shown must not end the asking: the next one may be better.
    _forget(error) {
        console.error(error);
        this._last = null;
    }

    async _fetch() {
        const stop = new AbortController();
        const timeOut = setTimeout(() => stop.abort(), kTimeOutMs);
        try {
            const response = await fetch(this._path, { cache: "no-cache", signal: stop.signal });
            return { ok: response.ok, status: response.status, text: await response.text() };
        } catch {
            return null; // nobody answers: asked again in a while, and told of by isReached
        } finally {
            clearTimeout(timeOut);
        }
    }
}

function problemOf({ status, text }) {
    try {
        return { title: "", detail: "", ...JSON.parse(text), status };
    } catch {
        return { title: "", detail: "", status };
    }
}
