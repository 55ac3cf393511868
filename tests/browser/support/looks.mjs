// What can be measured of a page's looks: that nothing scrolls, is cut or lies over something else, and that every
// text stands out against what is behind it. Answers faults as sentences.

/** Scroll bars, rows that are cut, and parts of a row that lie over each other. */
export function layoutFaults(page) {
    return page.evaluate(() => {
        const faults = [];
        const root = document.scrollingElement;
        if (root.scrollWidth > innerWidth) faults.push(`the page is ${root.scrollWidth} wide in ${innerWidth}`);
        if (root.scrollHeight > innerHeight) faults.push(`the page is ${root.scrollHeight} high in ${innerHeight}`);

        const isSeen = (node) => node.checkVisibility() && getComputedStyle(node).clipPath === "none";
        const nameOf = (node) => `<${node.className || node.tagName}> "${node.textContent.slice(0, 30)}"`;
        for (const node of document.querySelectorAll("body *")) {
            const { overflowX, overflowY } = getComputedStyle(node);
            if ([overflowX, overflowY].some((flow) => flow === "auto" || flow === "scroll")) {
                faults.push(`${nameOf(node)} may scroll`);
            }
            if (!isSeen(node) || node.closest(".only-heard")) continue;
            const box = node.getBoundingClientRect();
            const cut = node.closest("bdi") !== null; // cut with an ellipsis by what it stands in
            if (!cut && (box.left < -1 || box.right > innerWidth + 1 || box.top < -1 || box.bottom > innerHeight + 1)) {
                faults.push(`${nameOf(node)} stands outside the screen`);
            }
        }

        const main = document.querySelector("main").getBoundingClientRect();
        for (const row of document.querySelectorAll("#rows tr:not([hidden])")) {
            const box = row.getBoundingClientRect();
            if (box.bottom > main.bottom + 1) faults.push(`${nameOf(row)} is cut at the lower edge`);
            const kinds = "td.at, .badge, .destination, .note, .calls, td.from b, .headline, .detail";
            const parts = [...row.querySelectorAll(kinds)].filter((part) => part.checkVisibility());
            for (const part of parts) {
                const { left, right, top, bottom } = part.getBoundingClientRect();
                if (left < box.left || right > box.right + 1 || top < box.top - 1 || bottom > box.bottom + 1) {
                    faults.push(`${nameOf(part)} leaves its row`);
                }
                const cuts = getComputedStyle(part).overflowX === "hidden";
                if (!cuts && part.scrollWidth > part.clientWidth + 1 && part.clientWidth > 0) {
                    faults.push(`${nameOf(part)} is wider than its place`);
                }
            }
            for (const [index, one] of parts.entries()) {
                for (const other of parts.slice(index + 1)) {
                    const a = one.getBoundingClientRect();
                    const b = other.getBoundingClientRect();
                    const over = Math.min(a.right, b.right) - Math.max(a.left, b.left) > 1;
                    if (over && Math.min(a.bottom, b.bottom) - Math.max(a.top, b.top) > 1.5) {
                        faults.push(`${nameOf(one)} lies over ${nameOf(other)}`);
                    }
                }
            }
        }
        return faults;
    });
}

/**
 * Texts that a passenger acts on and that are not whole: wider than their place, ended by an ellipsis, or with letters
 * that reach out of what cuts them above or below. With how many were measured.
 */
export function cutTexts(page) {
    return page.evaluate(() => {
        const kinds =
            "h1, .kind, #track-name, #clock, #banner, th, td.at, .badge, .destination, .note, td.from b, .headline, .detail";
        const faults = [];
        let measured = 0;
        for (const node of document.querySelectorAll(kinds)) {
            const style = getComputedStyle(node);
            const isEmpty = node.textContent.trim() === "";
            if (isEmpty || !node.checkVisibility() || style.clipPath !== "none" || node.querySelector(".only-heard")) {
                continue;
            }
            measured += 1;
            const name = `<${node.className || node.id || node.tagName}> "${node.textContent.slice(0, 30)}"`;
            const range = document.createRange();
            range.selectNodeContents(node);
            const text = range.getBoundingClientRect();
            const box = node.getBoundingClientRect();
            const isWide = node.clientWidth > 0 && node.scrollWidth > node.clientWidth;
            if (isWide || text.left < box.left - 0.5 || text.right > box.right + 0.5) {
                faults.push(`${name} is wider than its place`);
            }
            const cuts = style.overflowY !== "visible";
            if (cuts && node.scrollHeight > node.clientHeight + 1) faults.push(`${name} has more lines than are seen`);
            if (cuts && (text.top < box.top - 0.5 || text.bottom > box.bottom + 0.5)) {
                faults.push(`${name} has letters higher than its line`);
            }
        }
        return { faults, measured };
    });
}

/** Texts with less than 4.5:1 against what they stand on, and badges with less than 3:1; with how many were measured. */
export function contrastFaults(page) {
    return page.evaluate(() => {
        const channels = (colour) => {
            const found = colour.match(/^rgba?\(([\d.]+), ([\d.]+), ([\d.]+)(?:, ([\d.]+))?\)$/);
            if (!found) throw new Error(`cannot read the colour ${colour}`);
            return found.slice(1).map((text, index) => (text === undefined && index === 3 ? 1 : Number(text)));
        };
        const luminance = (colour) => {
            const [red, green, blue] = channels(colour).map((value) => {
                const part = value / 255;
                return part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
            });
            return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
        };
        const ratio = (one, other) => {
            const [light, dark] = [luminance(one), luminance(other)].sort((a, b) => b - a);
            return (light + 0.05) / (dark + 0.05);
        };
        const behind = (node) => {
            for (let at = node; at; at = at.parentElement) {
                const colour = getComputedStyle(at).backgroundColor;
                const alpha = channels(colour)[3];
                if (alpha === 1) return colour;
                if (alpha !== 0) throw new Error(`${at.className} stands on a colour that lets others through`);
            }
            return "rgb(255, 255, 255)";
        };

        const faults = [];
        const texts = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
        let measured = 0;
        while (texts.nextNode()) {
            const node = texts.currentNode.parentElement;
            if (
                texts.currentNode.data.trim() === "" ||
                !node.checkVisibility() ||
                node.closest(".only-heard, noscript")
            )
                continue;
            measured += 1;
            const found = ratio(getComputedStyle(node).color, behind(node));
            if (found < 4.5) faults.push(`"${texts.currentNode.data}" has ${found.toFixed(2)}:1`);
        }
        for (const badge of document.querySelectorAll("[data-colour]")) {
            const found = ratio(getComputedStyle(badge).backgroundColor, behind(badge.parentElement));
            if (found < 3) faults.push(`the badge "${badge.textContent}" has ${found.toFixed(2)}:1`);
        }
        return { faults, measured };
    });
}

/** The accessibility tree as the browser hands it to screen readers: [{ role, name, level }], in order. */
export async function accessibilityTree(page) {
    const session = await page.context().newCDPSession(page);
    const { nodes } = await session.send("Accessibility.getFullAXTree");
    await session.detach();
    const byId = new Map(nodes.map((node) => [node.nodeId, node]));
    const inOrder = (node) => [
        node,
        ...(node.childIds ?? []).flatMap((id) => (byId.has(id) ? inOrder(byId.get(id)) : [])),
    ];
    return inOrder(nodes[0])
        .filter((node) => !node.ignored)
        .map((node) => ({
            role: node.role.value,
            name: node.name?.value ?? "",
            level: node.properties?.find(({ name }) => name === "level")?.value.value,
        }));
}
