// The board when the signalling side falls silent, on the program and a simulated railway in another process; and the
// picture of it for the README.
import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { after, afterEach, before } from "node:test";
import { closeClean, openPage, startBrowser, waitForRows, waitUntilHeard } from "./support/browser.mjs";
import { layoutFaults } from "./support/looks.mjs";
import { Service } from "./support/service.mjs";
import { test, until } from "./support/waiting.mjs";

const kNetwork = `${process.env.PIS_SAMPLES}/harbour-line.json`;
const kHarbourCentral = "station=5";

let browser;
let service;

before(async () => {
    browser = await startBrowser();
});

after(() => browser.close());

afterEach(async () => {
    await Promise.all(browser.contexts().map((context) => context.close()));
    assert.equal(await service.stop(), 0);
});

/** The simulated signalling side in a process of its own; answers where it listens and how to end it. */
async function startSimulator() {
    const process_ = spawn(process.env.PIS_PROGRAM, [
        "simulate",
        kNetwork,
        "--listen",
        "127.0.0.1:0",
        "--start",
        "07:30",
    ]);
    let said = "";
    const ended = new Promise((done) => process_.on("exit", done));
    process_.stderr.setEncoding("utf8").on("data", (text) => (said += text));
    const found = await until(
        () => said.match(/listening on (?:tcp:\/\/)?(127\.0\.0\.1:\d+)/),
        (match) => match !== null || process_.exitCode !== null,
        () => `pis simulate does not listen; it says: ${said}`,
    );
    if (found === null) throw new Error(`pis simulate ended; it says: ${said}`);
    const stop = async () => {
        process_.kill("SIGTERM");
        await ended;
    };
    return { link: `tcp://${found[1]}`, stop };
}

test("warns with the age of the news after the link is cut, and keeps the trains", async () => {
    const simulator = await startSimulator();
    service = await Service.start("--link", simulator.link, "--stale-after", "2");
    const page = await openPage(browser, `${service.origin}/board?${kHarbourCentral}`);
    await waitForRows(page, (rows) => rows.length > 3, "trains of the simulated railway");
    await simulator.stop();
    const banner = page.locator("#banner").getByText(/^No news from the signalling side for \d+ (s|min)\. /);
    await banner.waitFor();
    const first = await banner.innerText();
    await until(
        () => banner.innerText(),
        (text) => text !== first,
        () => `The banner stays "${first}"`,
    );
    await waitUntilHeard(page, "There is no news from the signalling side.");
    assert.ok((await page.locator("#rows tr:visible").count()) > 3);
    assert.equal((await service.get("/api/v1/status")).link.state, "down");
    assert.deepEqual(await layoutFaults(page), []);
    await closeClean(page);
});

test("shows a morning of the sample railway", async () => {
    service = await Service.start("--link", `sim:${kNetwork}`, "--start", "08:49", "--speed", "20");
    const page = await openPage(browser, `${service.origin}/board?${kHarbourCentral}`);
    await waitForRows(page, (rows) => rows.length >= 5, "a full board");
    assert.deepEqual(await layoutFaults(page), []);
    if (process.env.PIS_SCREENSHOT) await takePicture(page, process.env.PIS_SCREENSHOT);
    await closeClean(page);
});

/** At a moment that shows what the board is for: a train boards, one is late, one is cancelled. */
async function takePicture(page, file) {
    const states = [/Boarding$/, /min late$/, /Cancelled$/];
    const isRich = (rows) => states.every((state) => rows.some((row) => state.test(row)));
    await waitForRows(page, isRich, "a train that boards, a late one and a cancelled one");
    await page.screenshot({ path: file });
}
