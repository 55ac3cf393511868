// Says changes to screen readers, each of them once: takes what is shown of the trains, writes sentences into the
// page's live region, a few seconds apart, so that one is not cut off by the next.
import { setText } from "./dom.js";
import { changesOf, delayIsNews } from "./words.js";

const kPauseMs = 4000;
const kMostSentences = 6;

export class Announcer {
    constructor(liveRegion) {
        this._region = liveRegion;
        this._known = new Map();
        this._waiting = [];
        this._timer = null;
    }

    /** Takes all trains that are known; changes are said of those in `shown`. A train is met without a word. */
    hear(views, shown) {
        const visible = new Set(shown.map((view) => view.key));
        const known = new Map();
        for (const view of views) {
            const before = this._known.get(view.key);
            const said = before?.said ?? view.minutes;
            const news = delayIsNews(view.minutes, said) && view.status !== "cancelled";
            known.set(view.key, { view, said: news ? view.minutes : said });
            if (!before || !visible.has(view.key)) continue;
            for (const change of changesOf(before.view, view, said)) this.say(change);
        }
        this._known = known;
    }

    say(sentence) {
        this._waiting.push(sentence);
        if (this._timer === null) this._speak();
    }

    _speak() {
        this._timer = null;
        if (this._waiting.length === 0) return;
        const said = this._waiting.slice(0, kMostSentences);
        const more = this._waiting.length - said.length;
        if (more > 0) said.push(`And ${more} more changes.`);
        this._waiting = [];
        setText(this._region, said.join(" "));
        this._timer = setTimeout(() => this._speak(), kPauseMs);
    }
}
