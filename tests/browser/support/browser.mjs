// Chromium and its pages for the tests. Every page is watched: what it complains of, and what it asks of others.
import assert from "node:assert/strict";
import { chromium } from "playwright-core";
import { kHangMs, until } from "./waiting.mjs";

const kFontFiles = /\.woff2$/;

export function startBrowser() {
    return chromium.launch({
        executablePath: process.env.PIS_CHROMIUM ?? "/usr/bin/chromium",
        timeout: kHangMs,
        args: [
            "--headless",
            "--no-sandbox",
            "--disable-gpu",
            "--disable-quic",
            "--no-first-run",
            "--disable-background-networking",
            "--disable-component-update",
            "--disable-sync",
        ],
    });
}

/**
 * Opens an address in a context of its own. `page.complaints` grows with console errors (a breach of the content
 * policy is one), faults of scripts, and requests that leave the origin. `page.heard()` is what screen readers were
 * told so far, in order. `font` is what becomes of requests for the pages' own font: "served", "refused", or a promise
 * to wait for before it is served.
 */
export async function openPage(
    browser,
    address,
    { width = 1920, height = 1080, theme = "dark", clock = false, font = "served" } = {},
) {
    const context = await browser.newContext({
        viewport: { width, height },
        colorScheme: theme,
        reducedMotion: "reduce",
    });
    const page = await context.newPage();
    page.setDefaultTimeout(kHangMs);
    const origin = new URL(address).origin;
    page.complaints = [];
    page.on("console", (message) => {
        if (font === "refused" && kFontFiles.test(message.location().url)) return;
        if (["error", "warning"].includes(message.type())) page.complaints.push(message.text());
    });
    page.on("pageerror", (error) => page.complaints.push(String(error)));
    page.on("request", (request) => {
        if (new URL(request.url()).origin !== origin) page.complaints.push(`asked for ${request.url()}`);
    });
    if (font !== "served") {
        await page.route(kFontFiles, async (route) => {
            if (font === "refused") return route.abort();
            await font;
            return route.continue();
        });
    }
    await page.addInitScript(listenToLiveRegion);
    page.heard = () => page.evaluate(() => window.heardSoFar);
    if (clock) await page.clock.install();
    await page.goto(address, { waitUntil: "domcontentloaded" }); // a font may come later
    return page;
}

function listenToLiveRegion() {
    window.heardSoFar = [];
    document.addEventListener("DOMContentLoaded", () => {
        const region = document.querySelector("[aria-live]");
        new MutationObserver(() => window.heardSoFar.push(region.textContent)).observe(region, { childList: true });
    });
}

/** Waits until the page says this to screen readers. */
export function waitUntilHeard(page, sentence) {
    return page.waitForFunction((wanted) => window.heardSoFar.some((text) => text.includes(wanted)), sentence);
}

export async function closeClean(page) {
    await page.context().close();
    assert.deepEqual(page.complaints, []);
}

/** The row of the train at this time, as one line of text: "07:01 ML Lännavik ...". */
export async function rowOf(page, time) {
    const texts = await rowsOf(page);
    return texts.find((text) => text.startsWith(time));
}

/** The rows that are seen, a line of text each. */
export function rowsOf(page) {
    return page.locator("#rows tr:visible").evaluateAll((rows) =>
        rows.map((row) =>
            [...row.cells]
                .map((cell) => cell.innerText.replace(/\s+/g, " ").trim())
                .filter((text) => text !== "")
                .join(" | "),
        ),
    );
}

/** Waits until the rows that are seen are as the predicate wants them; says what they were otherwise. */
export function waitForRows(page, wanted, what) {
    return until(
        () => rowsOf(page),
        wanted,
        (rows) => `${what}; the board shows ${JSON.stringify(rows, null, 2)}`,
    );
}

/** Waits until every font that the page has asked for is there, and the page is laid out in it. */
export function waitForFonts(page) {
    return page.evaluate(async () => {
        await document.fonts.ready;
        await new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)));
    });
}

/** The families that the texts of these elements are drawn in; one that the page brought itself is "Inter (own)". */
export async function fontsOf(page, selector) {
    const session = await page.context().newCDPSession(page);
    await session.send("DOM.enable");
    await session.send("CSS.enable");
    const { root } = await session.send("DOM.getDocument");
    const { nodeIds } = await session.send("DOM.querySelectorAll", { nodeId: root.nodeId, selector });
    const families = new Set();
    for (const nodeId of nodeIds) {
        const { fonts } = await session.send("CSS.getPlatformFontsForNode", { nodeId });
        for (const { familyName, isCustomFont } of fonts) families.add(`${familyName}${isCustomFont ? " (own)" : ""}`);
    }
    await session.detach();
    return [...families];
}
