// The rows of the board: takes what is to be shown of the trains, keeps a table row per train, moves rows calmly,
// and shows as many as stand whole in the room there is.
import { element, fromFeed } from "./dom.js";
import { isLongMark } from "./words.js";

const kMove = { duration: 500, easing: "cubic-bezier(0.2, 0, 0, 1)" };

export class Rows {
    /** `body` is the table's, `room` the element that the rows have to stand in. */
    constructor(body, room) {
        this._body = body;
        this._room = room;
        this._rows = new Map();
        new ResizeObserver(() => this.fit()).observe(room);
        document.fonts.addEventListener("loadingdone", () => this.fit()); // rows are as high as their font makes them
    }

    /** Shows these trains in their order; answers those that there is room for. */
    draw(views) {
        const tops = new Map([...this._rows].map(([key, { row }]) => [key, row.hidden ? null : row.offsetTop]));
        const rows = new Map();
        for (const view of views) rows.set(view.key, this._rowOf(view));
        this._rows = rows;
        this._putInOrder([...rows.values()].map(({ row }) => row));
        this.fit();
        if (tops.size > 0) this._move(tops);
        return views.filter((view) => !rows.get(view.key).row.hidden);
    }

    /** Hides what would be cut at the lower edge; the others share the room that is left then. */
    fit() {
        const rows = [...this._rows.values()].map(({ row }) => row);
        this._body.removeAttribute("data-full");
        for (const row of rows) row.hidden = false;
        const bottom = this._room.clientHeight;
        const isTooLow = rows.map((row) => row.offsetTop + row.offsetHeight > bottom);
        rows.forEach((row, index) => {
            row.hidden = isTooLow[index];
        });
        this._body.toggleAttribute("data-full", isTooLow.includes(true));
    }

    _rowOf(view) {
        const content = JSON.stringify(view);
        const known = this._rows.get(view.key);
        const row = known?.row ?? element("tr", { role: "row" });
        if (known?.content === content) return known;
        row.dataset.status = view.status;
        row.toggleAttribute("data-late", view.minutes > 0 && view.status === "expected");
        row.replaceChildren(...cellsOf(view));
        return { row, content };
    }

    // Only rows that stand elsewhere are touched: one that is moved in the document loses its place to a reader.
    _putInOrder(rows) {
        const wanted = new Set(rows);
        for (const row of [...this._body.children]) {
            if (!wanted.has(row)) row.remove();
        }
        rows.forEach((row, index) => {
            if (this._body.children[index] !== row) this._body.insertBefore(row, this._body.children[index] ?? null);
        });
    }

    _move(tops) {
        if (matchMedia("(prefers-reduced-motion: reduce)").matches) return;
        for (const [key, { row }] of this._rows) {
            if (row.hidden) continue;
            const top = tops.get(key);
            if (top === undefined || top === null) {
                row.animate([{ opacity: 0 }, { opacity: 1 }], kMove);
            } else if (top !== row.offsetTop) {
                row.animate([{ transform: `translateY(${top - row.offsetTop}px)` }, { transform: "none" }], kMove);
            }
        }
    }
}

function cell(name, ...children) {
    return element("td", { role: "cell", class: name }, ...children);
}

function cellsOf(view) {
    return [
        cell("at", view.status === "cancelled" ? element("s", {}, view.at) : view.at),
        cell("line", ...badgeOf(view.line)),
        cell("to", headingOf(view), ...callsOf(view.calls)),
        cell("from", element("b", { dir: "auto", ...longMark(view.from) }, view.from)),
        cell("now", element("div", { class: "headline" }, view.headline), ...detailOf(view)),
    ];
}

function longMark(text) {
    return isLongMark(text) ? { "data-long": "" } : {};
}

function badgeOf(line) {
    if (!line) return [];
    const attributes = { class: "badge", dir: "auto", "data-colour": line.colour, title: line.name };
    return [element("abbr", { ...attributes, ...longMark(line.text) }, line.text)];
}

function headingOf(view) {
    const tag = view.status === "cancelled" ? "s" : "span";
    const name = element(tag, { class: "destination", dir: "auto" }, view.to);
    const notes = view.notes.map(({ kind, text }) => element("span", { class: "note", "data-kind": kind }, text));
    return element("div", { class: "heading" }, name, ...notes);
}

function callsOf({ words, names }) {
    if (words === "") return [];
    const list = names.flatMap((name, index) => (index === 0 ? [fromFeed(name)] : [", ", fromFeed(name)]));
    return [element("div", { class: "calls" }, words, ...list)];
}

function detailOf(view) {
    return view.detail === "" ? [] : [element("div", { class: "detail" }, view.detail)];
}
