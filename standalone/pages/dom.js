// Small helpers to build elements. Texts of the feed enter the page here, as text nodes and nothing else.

/** An element with attributes and children; a child is a node or a text. */
export function element(tag, attributes = {}, ...children) {
    const made = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
        if (value !== undefined) made.setAttribute(name, value);
    }
    made.append(...children);
    return made;
}

/** A text of the feed within others, kept apart from them: a name may read from right to left. */
export function fromFeed(text) {
    return element("bdi", {}, text);
}

/** Sets a text where it differs, so that what is read aloud or selected stays as it is otherwise. */
export function setText(node, text) {
    if (node.textContent !== text) node.textContent = text;
}

export function byId(id) {
    return document.getElementById(id);
}
