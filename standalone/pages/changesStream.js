// The stream of changes: tells that something has changed and what state the service is in. What changed is not
// looked at here, so that a page that stands for weeks holds no more than one that was just opened.

const kSilenceMs = 20000;
const kPausesMs = [1000, 2000, 4000, 8000, 16000, 30000];

export class ChangesStream {
    /**
     * `onStatus(status)` is called with every tick, `onChange()` with every reset, update and removal, and
     * `onContact()` when the stream is there or gone.
     */
    constructor({ onStatus, onChange = () => {}, onContact }) {
        this._onStatus = onStatus;
        this._onChange = onChange;
        this._onContact = onContact;
        this._path = null;
        this._source = null;
        this._faults = 0;
        this._timer = null;
        /** Whether events come; null before the first answer. */
        this.isOpen = null;
        // A browser has few connections for all its tabs: those in the background give theirs back.
        document.addEventListener("visibilitychange", () => (document.hidden ? this._close() : this._connect()));
    }

    /** Listens to this path from now on. */
    follow(path) {
        if (path === this._path) return;
        this._path = path;
        this._faults = 0;
        this._connect();
    }

    _connect() {
        this._close();
        if (this._path === null || document.hidden) return;
        const source = new EventSource(this._path);
        this._source = source;
        this._expectEvent();
        source.onerror = () => this._lose();
        for (const kind of ["reset", "update", "remove"]) {
            source.addEventListener(kind, () => {
                this._hasCome();
                this._onChange();
            });
        }
        source.addEventListener("revision", (event) => {
            this._hasCome();
            this._onStatus(JSON.parse(event.data));
        });
    }

    _hasCome() {
        this._faults = 0;
        this._expectEvent();
        if (this.isOpen) return;
        this.isOpen = true;
        this._onContact();
    }

    _expectEvent() {
        clearTimeout(this._timer);
        this._timer = setTimeout(() => this._lose(), kSilenceMs);
    }

    // The pause grows, and differs from board to board, so that a service that starts again is not run down.
    _lose() {
        this._close();
        const pause = kPausesMs[Math.min(this._faults, kPausesMs.length - 1)];
        this._faults += 1;
        this._timer = setTimeout(() => this._connect(), pause * (0.8 + 0.4 * Math.random()));
        if (this.isOpen === false) return;
        this.isOpen = false;
        this._onContact();
    }

    _close() {
        clearTimeout(this._timer);
        this._source?.close();
        this._source = null;
    }
}
