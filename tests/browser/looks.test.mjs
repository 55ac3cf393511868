// The looks of the board: every screen, both themes, hostile texts, and what the browser hands to screen readers.
import assert from "node:assert/strict";
import { closeClean, fontsOf, rowsOf, waitForFonts, waitForRows } from "./support/browser.mjs";
import {
    kPlatformPath,
    kStationPath,
    openBoard,
    openTrains,
    service,
    show,
    useFakeService,
} from "./support/fake-board.mjs";
import { departure, everyState, kPlatform, statusOf, stops } from "./support/fake-service.mjs";
import { accessibilityTree, contrastFaults, cutTexts, layoutFaults } from "./support/looks.mjs";
import { test } from "./support/waiting.mjs";

const kScreens = [
    [360, 640],
    [640, 360],
    [768, 1024],
    [1280, 1024],
    [1080, 1920],
    [1920, 1080],
    [3840, 2160],
];

/** With the font that the pages bring, and with what this machine has where it does not come. */
const kFonts = ["served", "refused"];

const kQueries = ["station=5", "platform=9"];

useFakeService();

/** What the station's board and the platform's list, and what the platform is called. */
function showOnBoth(departures, track = kPlatform.track) {
    show(...departures);
    const platform = { ...kPlatform, track };
    service.answers[kPlatformPath] = { ...service.answers[kStationPath], station: undefined, platform };
    service.tick();
}

/** Trains as railways name them: marks of eight letters, platforms that have a name instead of a number. */
function namedTrains() {
    return [
        departure({
            scheduled: 25020,
            delay: 4260,
            line: { id: 3, name: "Regional", abrv: "RE-16APR" },
            destination: { id: 3, name: "Åsholm Övre" },
            platform: { id: 30, name: "Westgate Northbound", track: "Westgate Northbound" },
        }),
        departure({ scheduled: 25080, delay: 600, platform: { id: 31, name: "Harbour Central NB", track: "NB" } }),
    ];
}

for (const [width, height] of kScreens) {
    for (const font of kFonts) {
        test(`fills ${width}x${height} with whole rows and whole texts, the font ${font}`, async () => {
            for (const query of kQueries) {
                let left = [...namedTrains(), ...everyState()];
                showOnBoth(left, "Westgate Northbound");
                const page = await openTrains({ width, height, font }, query);
                while (left.length > 0) {
                    await waitForRows(page, (rows) => rows[0]?.startsWith(left[0].scheduled_text), "the next trains");
                    await waitForFonts(page);
                    assert.deepEqual(await layoutFaults(page), []);
                    const { faults, measured } = await cutTexts(page);
                    assert.deepEqual(faults, []);
                    const seen = await page.locator("#rows tr:visible").count();
                    assert.ok(seen >= Math.min(3, left.length), `only ${seen} rows`);
                    assert.ok(measured > seen * 3, `${measured} texts in ${seen} rows`);
                    left = left.slice(seen);
                    if (left.length > 0) showOnBoth(left);
                }
                const families = await fontsOf(page, "h1, #clock, th, td, td *");
                const own = families.filter((family) => family.endsWith("(own)"));
                assert.equal(own.length, font === "served" ? families.length : 0, families.join());
                await closeClean(page);
            }
        });
    }

    test(`keeps hostile texts in their places at ${width}x${height}`, async () => {
        const markup = "<img src=x onerror=document.title='taken'><script>document.title='taken'</script>";
        const long = "Llanfair".repeat(40);
        const rightToLeft = "محطة الميناء المركزية";
        const hostile = (name, more = {}) =>
            departure({
                destination: { id: 1, name },
                line: { id: -7, name, abrv: name },
                platform: { id: 9, name, track: name },
                priority: "EXPRESS",
                last_train: true,
                stops_ahead: stops(...Array(30).fill(name)),
                ...more,
            });
        show(
            hostile(markup, { delay: 2 ** 31 }),
            hostile(long, { delay: -(2 ** 31), expected_text: "-596523:14" }),
            hostile(`\u202e${rightToLeft}`),
            hostile("a\u0301\u0302\u0303".repeat(200), { cancelled: true }),
            departure(),
        );
        service.answers[kStationPath].station = { id: 5, name: long, abrv: "" };
        for (const font of kFonts) {
            const page = await openTrains({ width, height, font });
            await waitForFonts(page);
            assert.deepEqual(await layoutFaults(page), []);
            assert.equal(await page.locator("img, #rows script").count(), 0);
            assert.match(await page.title(), /^Departures: Llanfair/);
            assert.equal(await page.locator("#rows .destination").first().textContent(), markup);
            assert.notEqual((await rowsOf(page))[0], undefined);
            await closeClean(page);
        }
    });
}

test("is whole before its font has come, and uses the room that the font leaves", async () => {
    show(...everyState());
    const screen = { width: 360, height: 800 };
    const ready = await openTrains(screen);
    await waitForFonts(ready);
    const wanted = await rowsOf(ready);
    await closeClean(ready);

    let serve;
    const page = await openTrains({ ...screen, font: new Promise((done) => (serve = done)) });
    assert.ok((await rowsOf(page)).length > 2, "rows without the font");
    assert.deepEqual((await cutTexts(page)).faults, []);
    assert.deepEqual(await layoutFaults(page), []);
    serve();
    await waitForRows(page, (rows) => rows.length === wanted.length, `${wanted.length} rows in the font`);
    await waitForFonts(page);
    assert.deepEqual(await layoutFaults(page), []);
    await closeClean(page);
});

for (const theme of ["light", "dark"]) {
    test(`keeps WCAG AA contrast in the ${theme} theme`, async () => {
        const lines = Array.from({ length: 10 }, (_, id) => departure({ line: { id, name: "", abrv: `L${id}` } }));
        show(...everyState(), ...lines);
        service.status = statusOf({ stale: true, silent_seconds: 100 });
        service.answers[kPlatformPath] = { ...service.answers[kStationPath], station: undefined, platform: kPlatform };
        for (const query of ["station=5", "platform=9"]) {
            const page = await openTrains({ theme, height: 3000 }, query);
            await page.locator("#banner").waitFor();
            const { faults, measured } = await contrastFaults(page);
            assert.deepEqual(faults, []);
            assert.ok(measured > 100, `${measured} texts`);
            await closeClean(page);
        }

        show();
        const page = await openBoard({ theme: theme === "light" ? "dark" : "light" }, `station=5&theme=${theme}`);
        await page.getByRole("heading", { name: "No more trains from here today" }).waitFor();
        assert.deepEqual((await contrastFaults(page)).faults, []);
        const [red] = (await page.evaluate(() => getComputedStyle(document.body).backgroundColor)).match(/\d+/);
        assert.equal(Number(red) > 128, theme === "light", "the address decides about the theme");
        await closeClean(page);
    });
}

test("hands screen readers a table under a heading, landmarks and one live region", async () => {
    show(...everyState());
    const page = await openTrains({ width: 360, height: 640 });
    const tree = await accessibilityTree(page);
    const ofRole = (role) => tree.filter((node) => node.role === role);
    assert.deepEqual(
        ofRole("heading").map(({ name, level }) => [name, level]),
        [["Harbour Central", 1]],
    );
    assert.deepEqual(
        ofRole("table").map(({ name }) => name),
        ["Harbour Central"],
    );
    assert.deepEqual(
        ofRole("columnheader").map(({ name }) => name),
        ["Time", "Line", "Destination", "Platform", "Expected"],
    );
    assert.equal(ofRole("row").length, (await rowsOf(page)).length + 1, "hidden rows are not read");
    assert.equal(ofRole("cell").length, (await rowsOf(page)).length * 5);
    for (const landmark of ["banner", "main"]) assert.equal(ofRole(landmark).length, 1, landmark);
    assert.equal(ofRole("status").length, 1);
    assert.equal(await page.locator("html").getAttribute("lang"), "en");
    await closeClean(page);
});
