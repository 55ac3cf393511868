// The board on the program itself, fed record by record: trains come, are late, board, are cancelled, pass and go.
import assert from "node:assert/strict";
import { readFile } from "node:fs/promises";
import { after, afterEach, before, beforeEach } from "node:test";
import { closeClean, fontsOf, openPage, startBrowser, waitForFonts, waitForRows, waitUntilHeard } from "./support/browser.mjs";
import { accessibilityTree, layoutFaults } from "./support/looks.mjs";
import * as rail from "./support/railway.mjs";
import { Service } from "./support/service.mjs";
import { test } from "./support/waiting.mjs";

let browser;
let service;

before(async () => {
    browser = await startBrowser();
});

after(() => browser.close());

beforeEach(async () => {
    service = await Service.start();
});

afterEach(async () => {
    await Promise.all(browser.contexts().map((context) => context.close()));
    assert.equal(await service.stop(), 0);
});

async function openBoard(query = rail.kBirchPark, options = {}) {
    return openPage(browser, `${service.origin}/board?${query}`, options);
}

const waitForFirst = (page, wanted) =>
    waitForRows(page, (rows) => rows[0] !== undefined && wanted.test(rows[0]), `the first train is to say ${wanted}`);

test("a train comes, boards and goes", async () => {
    service.feed(rail.clock("06:50"), ...rail.network(), ...rail.train(7, "07:00"), ...rail.train(8, "07:20"));
    const page = await openBoard();
    await waitForFirst(page, /^07:05 \| M1 \| Cedar End Calls at: Cedar End \| 1 \| On time$/);
    assert.equal(await page.locator("h1").innerText(), "Birch Park");
    assert.equal(await page.locator("#clock").innerText(), "06:50");

    service.feed(rail.serviceState(7, [72, 73], rail.kApproaching), rail.platformState(21, rail.kPlatformApproached));
    await waitForFirst(page, /Approaching$/);
    service.feed(rail.serviceState(7, [72, 73], rail.kInStation));
    await waitForFirst(page, /At platform$/);
    service.feed(rail.serviceState(7, [72, 73], rail.kBoarding), rail.platformState(21, rail.kPlatformBoards));
    await waitForFirst(page, /Boarding$/);
    await waitUntilHeard(page, "The 07:05 to Cedar End is boarding at platform 1.");

    service.feed(
        rail.serviceState(7, [73], rail.kDeparted),
        rail.platformState(21, rail.kPlatformFree),
        rail.clock("07:06"),
    );
    await waitForFirst(page, /^07:25/);
    await page.locator("#clock").getByText("07:06").waitFor();
    assert.equal((await page.heard()).length, 1);
    await closeClean(page);
});

test("a delay appears and is said once", async () => {
    service.feed(rail.clock("06:50"), ...rail.network(), ...rail.train(7, "07:00"));
    const page = await openBoard();
    await waitForFirst(page, /On time$/);
    service.feed(rail.serviceStop(72, 7, 102, rail.at("07:00"), 480));
    await waitForFirst(page, /Expected 07:13 8 min late$/);
    await waitUntilHeard(page, "is expected at 07:13, 8 minutes late.");
    service.feed(rail.clock("06:51"), rail.clock("06:52"));
    await page.locator("#clock").getByText("06:52").waitFor();
    service.feed(rail.serviceStop(72, 7, 102, rail.at("07:00"), -120));
    await waitForFirst(page, /Expected 07:03 2 min early$/);
    await waitUntilHeard(page, "2 minutes early.");
    assert.equal((await page.heard()).length, 2);
    await closeClean(page);
});

test("a cancelled, a passing and the last train are marked in words", async () => {
    service.feed(
        rail.clock("06:50"),
        ...rail.network(),
        ...rail.train(7, "07:00"),
        ...rail.train(8, "07:10", { tripId: 2 }),
        ...rail.train(9, "23:40", { last: 1 }),
    );
    const page = await openBoard();
    await waitForRows(page, (rows) => rows.length === 3, "three trains");
    service.feed(rail.serviceState(7, rail.stopsOf(7), rail.kCancelled));
    const rows = await waitForRows(page, (seen) => /Cancelled$/.test(seen[0]), "the first train is cancelled");
    assert.match(rows[1], /^07:14 \| M1 \| Cedar End Express Passing train, do not board \| 2 \| Does not stop$/);
    assert.match(rows[2], /^23:45 \| M1 \| Cedar End Last train /);
    await waitUntilHeard(page, "The 07:05 to Cedar End is cancelled.");
    service.feed(rail.serviceState(8, [82, 83], rail.kApproaching), rail.platformState(22, rail.kPlatformPassed));
    await waitForRows(page, (seen) => /Passing train, stand back/.test(seen[1]), "a warning");
    await waitUntilHeard(page, "Platform 2: a train passes without stopping. Stand back.");
    await closeClean(page);
});

test("a train that changes its platform is said to, once", async () => {
    service.feed(rail.clock("06:50"), ...rail.network(), ...rail.train(7, "07:00"));
    const page = await openBoard();
    await waitForFirst(page, /\| 1 \| On time$/);
    service.feed(rail.tripStop(102, 1, 22, 300));
    await waitForFirst(page, /\| 2 \| On time$/);
    await waitUntilHeard(page, "The 07:05 to Cedar End now leaves from platform 2.");
    service.feed(rail.clock("06:55"));
    await page.locator("#clock").getByText("06:55").waitFor();
    assert.equal((await page.heard()).length, 1);
    await closeClean(page);
});

test("a platform's board shows its track and its trains alone", async () => {
    service.feed(
        rail.clock("06:50"),
        ...rail.network(),
        ...rail.train(7, "07:00"),
        ...rail.train(8, "07:10", { tripId: 2 }),
    );
    const page = await openBoard(rail.kPlatform21);
    await waitForRows(page, (rows) => rows.length === 1 && rows[0].startsWith("07:05"), "the train of platform 1");
    assert.equal(await page.title(), "Departures: Birch Park, platform 1");
    assert.equal(
        await page
            .locator("#track")
            .innerText()
            .then((text) => text.replace(/\s+/g, " ")),
        "Platform 1",
    );
    service.feed(rail.serviceStop(72, 7, 102, rail.at("07:00"), 300));
    await waitForFirst(page, /5 min late$/);
    assert.deepEqual(await layoutFaults(page), []);

    service.feed(rail.platform(21, 2, "Birch Park"));
    await page.waitForFunction(() => document.title === "Departures: Birch Park");
    assert.equal(await page.locator("#track").isVisible(), false, "a name that stands there already");
    await closeClean(page);
});

test("waits without data, lists trains when they come, and says when there are none", async () => {
    const page = await openBoard();
    await page.getByRole("heading", { name: "Waiting for train data" }).waitFor();
    service.feed(rail.clock("06:50"), ...rail.network(), ...rail.train(7, "07:00"));
    await waitForFirst(page, /^07:05/);
    service.feed(rail.serviceState(7, [73], rail.kDeparted));
    await page.getByRole("heading", { name: "No more trains from here today" }).waitFor();
    assert.equal(await page.locator("#trains").isVisible(), false);
    await closeClean(page);
});

test("a station that the railway does not have is said to be unknown", async () => {
    service.feed(rail.clock("06:50"), ...rail.network());
    await service.until("/api/v1/status", (status) => status.ready);
    const page = await openBoard("station=77");
    await page.getByRole("heading", { name: "This station is not known" }).waitFor();
    await page.getByText("There is no station 77.").waitFor();
    await page.getByRole("link", { name: "All stations" }).click();
    await page.getByRole("heading", { name: "Departure boards" }).waitFor();
});

test("names of the feed stay texts, whatever they hold", async () => {
    const markup = "<img src=/nix onerror=alert(1)>\"'&amp;</script>";
    const long = "X".repeat(5000);
    service.feed(
        rail.clock("06:50"),
        ...rail.network(),
        rail.line(1, markup, long),
        rail.station(2, long, "B", [21, 22]),
        rail.station(3, markup, "C", [31]),
        ...rail.train(7, "07:00", { delay: 2147483647 }),
        ...rail.train(8, "07:01"),
        rail.serviceState(8, ["x", -1, 99999999999], rail.kNotStarted),
    );
    for (const [width, height] of [
        [360, 640],
        [1920, 1080],
    ]) {
        const page = await openBoard(rail.kBirchPark, { width, height });
        await waitForRows(page, (rows) => rows.length === 2, "both trains");
        assert.equal(await page.locator(".destination").first().textContent(), markup);
        assert.equal(await page.locator("img").count(), 0);
        assert.deepEqual(await layoutFaults(page), []);
        await closeClean(page);
    }
});

test("the pages stand in the font that they bring, marks above and letters of Latin Europe too", async () => {
    service.feed(rail.clock("06:50"), ...rail.network(), rail.station(3, "Żółwin Ångström", "Ż", [31]));
    service.feed(...rail.train(7, "07:00"));
    for (const path of ["/", `/board?${rail.kBirchPark}`]) {
        const page = await openPage(browser, service.origin + path);
        await page.getByText("Żółwin Ångström").first().waitFor();
        await waitForFonts(page);
        const families = await fontsOf(page, "body *");
        assert.deepEqual(
            families.filter((family) => !family.endsWith("(own)")),
            [],
        );
        assert.notEqual(families.length, 0);
        await closeClean(page);
    }
});

test("pages allow their own scripts, styles and fonts alone, and are asked for again with their tag", async () => {
    const kTypes = { html: "text/html", js: "text/javascript", css: "text/css", svg: "image/svg+xml" };
    Object.assign(kTypes, { woff2: "font/woff2", txt: "text/plain" });
    for (const path of [
        "/",
        "/board",
        "/pages/board.js",
        "/pages/board.css",
        "/pages/icon.svg",
        "/pages/fonts/inter-latin-wght-normal.woff2",
        "/pages/fonts/inter-latin-ext-wght-normal.woff2",
        "/pages/fonts/OFL.txt",
    ]) {
        const first = await fetch(service.origin + path);
        assert.equal(first.status, 200, path);
        const policy = first.headers
            .get("content-security-policy")
            .split(";")
            .map((rule) => rule.trim());
        assert.ok(policy.includes("default-src 'none'"), path);
        assert.ok(policy.includes("script-src 'self'"), path);
        assert.ok(policy.includes("style-src 'self'"), path);
        assert.ok(policy.includes("font-src 'self'"), path);
        assert.ok(policy.includes("frame-ancestors 'none'"), path);
        assert.equal(first.headers.get("x-content-type-options"), "nosniff", path);
        const again = await fetch(service.origin + path, { headers: { "If-None-Match": first.headers.get("etag") } });
        assert.equal(again.status, 304, path);
        const name = { "/": "index.html", "/board": "board.html" }[path] ?? path.slice("/pages/".length);
        assert.equal(first.headers.get("content-type").split(";")[0], kTypes[name.split(".").pop()], path);
        const file = await readFile(`${process.env.PIS_PAGES}/${name}`);
        assert.ok(file.equals(Buffer.from(await first.arrayBuffer())), path);
    }
});

test("a platform's track is the same in the list of stations and on the boards", async () => {
    service.feed(rail.clock("06:50"), ...rail.network());
    service.feed(rail.station(2, "West", "W", [21, 22]), rail.platform(21, 2, "Westgate 1"));
    service.feed(rail.platform(22, 2, "West  2 B"), ...rail.train(7, "07:00"));
    await service.until("/api/v1/platforms/22/departures", ({ platform }) => platform.track === "2 B");
    const list = await openPage(browser, `${service.origin}/`);
    await list.getByRole("link", { name: "West, platform 2 B", exact: true }).waitFor();
    assert.equal(await list.getByRole("link", { name: "West, platform Westgate 1", exact: true }).count(), 1);
    await closeClean(list);
    const board = await openBoard();
    await waitForFirst(board, /\| Westgate 1 \| On time$/);
    await closeClean(board);
});

test("the list of stations leads to every board", async () => {
    service.feed(rail.clock("06:50"), ...rail.network(), ...rail.train(7, "07:00"));
    const page = await openPage(browser, `${service.origin}/`, { width: 360, height: 640, theme: "light" });
    await page.getByRole("link", { name: "Birch Park", exact: true }).waitFor();
    const names = (await accessibilityTree(page)).filter(({ role }) => role === "link").map(({ name }) => name);
    assert.deepEqual(names, [
        "Alder Road",
        "Alder Road, platform 1",
        "Birch Park",
        "Birch Park, platform 1",
        "Birch Park, platform 2",
        "Cedar End",
        "Cedar End, platform 1",
        "Description of the API",
        "Status",
        "Alive?",
        "Ready?",
        "Metrics",
    ]);
    assert.ok(
        await page.evaluate(() => document.scrollingElement.scrollWidth <= innerWidth),
        "nothing scrolls sideways",
    );
    for (const path of await page
        .locator(".links a")
        .evaluateAll((links) => links.map((link) => link.getAttribute("href")))) {
        assert.equal((await fetch(service.origin + path)).status, 200, path);
    }

    service.feed(rail.station(4, "Dogwood", "DOG", []));
    await page.getByRole("link", { name: "Dogwood", exact: true }).waitFor();
    await page.getByRole("link", { name: "Birch Park", exact: true }).focus();
    await page.keyboard.press("Tab");
    await page.keyboard.press("Enter");
    await page.getByRole("heading", { name: "Birch Park" }).waitFor();
    await waitForFirst(page, /^07:05/);
    await closeClean(page);
});
