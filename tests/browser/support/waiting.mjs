// Waiting in tests: for the thing itself, with limits that only what hangs reaches, however busy the machine is.
import { test as nodeTest } from "node:test";

export const kHangMs = 60000;

/** A test that fails when it hangs. */
export function test(name, run) {
    return nodeTest(name, { timeout: 2 * kHangMs }, run);
}

/** Asks until the answer is wanted, and gives it; `complaint(answer)` says what is wrong with the last one. */
export async function until(ask, isWanted, complaint) {
    const end = performance.now() + kHangMs;
    for (;;) {
        const answer = await ask();
        if (isWanted(answer)) return answer;
        if (performance.now() > end) throw new Error(complaint(answer));
        await new Promise((done) => setTimeout(done, 20));
    }
}

/** Settles as the promise does, or fails when that hangs. */
export function withoutHanging(promise, complaint) {
    let timer;
    const hang = new Promise((_, fail) => {
        timer = setTimeout(() => fail(new Error(complaint)), kHangMs);
    });
    return Promise.race([promise, hang]).finally(() => clearTimeout(timer));
}
