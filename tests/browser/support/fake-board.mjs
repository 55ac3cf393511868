// Boards in a browser against the fake service: what the files of tests on the board's faces share.
import { after, before, beforeEach } from "node:test";
import { openPage, startBrowser } from "./browser.mjs";
import { FakeService, kStation, statusOf } from "./fake-service.mjs";

export const kStationPath = "/api/v1/stations/5/departures";
export const kPlatformPath = "/api/v1/platforms/9/departures";

const kPagesFolder = process.env.PIS_PAGES ?? new URL("../../../standalone/pages", import.meta.url).pathname;

export const service = new FakeService(kPagesFolder);
let browser;

/** Registers the hooks of a file: one browser and one service for all of its tests, both forgetful between them. */
export function useFakeService() {
    before(async () => {
        browser = await startBrowser();
        await service.start();
    });
    after(async () => {
        await browser.close();
        await service.stop();
    });
    beforeEach(async () => {
        await Promise.all(browser.contexts().map((context) => context.close()));
        service.status = statusOf();
        service.answers = {};
        service.requests = [];
    });
}

/** The station has these departures now; every board is told. */
export function show(...departures) {
    service.answers[kStationPath] = {
        station: kStation,
        status: departures.length > 0 ? "departures" : "no_trains",
        departures,
    };
    service.tick();
}

export async function openBoard(options, query = "station=5") {
    const page = await openPage(browser, `${service.origin}/board?${query}`, options);
    await page.locator("#rows tr, #face:visible").first().waitFor();
    return page;
}

/** A board that lists trains already. */
export async function openTrains(options, query) {
    const page = await openBoard(options, query);
    await page.locator("#rows tr").first().waitFor();
    return page;
}
