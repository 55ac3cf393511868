// The program itself: `pis serve` on a free port of this machine, fed by the test line by line through its standard
// input, so that every moment of the railway is the test's own.
import { spawn } from "node:child_process";
import { once } from "node:events";
import { until, withoutHanging } from "./waiting.mjs";

const kProgram = process.env.PIS_PROGRAM;

export class Service {
    /** Starts the program; `link` is `file:-` unless another is named in the arguments. */
    static async start(...args) {
        if (!kProgram) throw new Error("PIS_PROGRAM has to name the program pis");
        const linked = args.includes("--link") ? args : ["--link", "file:-", ...args];
        const service = new Service(spawn(kProgram, ["serve", "--listen", "127.0.0.1:0", ...linked]));
        service.origin = await service._saysWhere();
        return service;
    }

    constructor(process) {
        this._process = process;
        this._ended = once(process, "exit");
        /** What the program has said on standard error. */
        this.log = "";
        process.stderr.setEncoding("utf8").on("data", (text) => (this.log += text));
        process.stdin.on("error", () => {}); // the program may end before it has read everything
    }

    async _saysWhere() {
        const found = await until(
            () => this.log.match(/listening on (http:\/\/[^\s/]+)\//),
            (match) => match !== null || this._process.exitCode !== null,
            () => `pis serve does not listen; it says: ${this.log}`,
        );
        if (found === null) throw new Error(`pis serve ended; it says: ${this.log}`);
        return found[1];
    }

    /** Feeds records. They are in the picture a moment later. */
    feed(...records) {
        this._process.stdin.write(records.map((record) => `${JSON.stringify(record)}\n`).join(""));
    }

    /** The feed ends: nothing comes any more. */
    endFeed() {
        this._process.stdin.end();
    }

    async stop() {
        if (this._process.exitCode === null) this._process.kill("SIGTERM");
        const [status] = await withoutHanging(this._ended, `pis serve does not end; it says: ${this.log}`);
        return status;
    }

    /** A body of the API; what it was answered with beside it. */
    async get(path, headers = {}) {
        const response = await fetch(this.origin + path, { headers });
        return response.json();
    }

    /** Waits until the picture is such that the path's answer satisfies the predicate. */
    until(path, isWanted) {
        return until(
            () => this.get(path),
            isWanted,
            (answer) => `${path} stays ${JSON.stringify(answer)}`,
        );
    }
}
