// Chromium and its pages for the tests. Every page is watched: what it complains of, and what it asks of others.
import assert from "node:assert/strict";
import { chromium } from "playwright-core";

export function startBrowser() {
    return chromium.launch({
        executablePath: process.env.PIS_CHROMIUM ?? "/usr/bin/chromium",
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
 * told so far, in order.
 */
export async function openPage(browser, address, { width = 1920, height = 1080, theme = "dark", clock = false } = {}) {
    const context = await browser.newContext({
        viewport: { width, height },
        colorScheme: theme,
        reducedMotion: "reduce",
    });
    const page = await context.newPage();
    page.setDefaultTimeout(20000);
    const origin = new URL(address).origin;
    page.complaints = [];
    page.on("console", (message) => {
        if (["error", "warning"].includes(message.type())) page.complaints.push(message.text());
    });
    page.on("pageerror", (error) => page.complaints.push(String(error)));
    page.on("request", (request) => {
        if (new URL(request.url()).origin !== origin) page.complaints.push(`asked for ${request.url()}`);
    });
    await page.addInitScript(listenToLiveRegion);
    page.heard = () => page.evaluate(() => window.heardSoFar);
    if (clock) await page.clock.install();
    await page.goto(address);
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
export async function waitForRows(page, wanted, what) {
    const end = Date.now() + 20000;
    let rows = [];
    while (Date.now() < end) {
        rows = await rowsOf(page);
        if (wanted(rows)) return rows;
        await page.waitForTimeout(50);
    }
    return assert.fail(`${what}; the board shows ${JSON.stringify(rows, null, 2)}`);
}
