// docs/openapi.json as a judge: takes an answer of the service and says what in it is not as described. Remembers which
// paths and statuses were met.
import { readFile } from "node:fs/promises";
import { request } from "node:http";
import { gunzipSync } from "node:zlib";
import addFormats from "ajv-formats";
import Ajv2020 from "ajv/dist/2020.js";

/** One answer over HTTP as it comes: nothing is inflated, followed or kept. */
export function fetchRaw(origin, path, headers = {}, method = "GET") {
    return new Promise((done, fail) => {
        const asked = request(origin + path, { method, headers, agent: false }, (response) => {
            const chunks = [];
            response.on("data", (chunk) => chunks.push(chunk));
            response.on("end", () =>
                done({ status: response.statusCode, headers: response.headers, body: Buffer.concat(chunks) }),
            );
            response.on("error", fail);
        });
        asked.on("error", fail);
        asked.end();
    });
}

const escaped = (key) => key.replaceAll("~", "~0").replaceAll("/", "~1");

export class Description {
    static async read(file) {
        return new Description(JSON.parse(await readFile(file, "utf8")));
    }

    constructor(document) {
        this.document = document;
        this._ajv = new Ajv2020({ allErrors: true, allowUnionTypes: true });
        addFormats(this._ajv);
        this._ajv.addVocabulary(Object.keys(document)); // what stands around the schemas is none of theirs
        this._ajv.addSchema(document, "openapi");
        this._met = new Set();
    }

    get paths() {
        return Object.keys(this.document.paths);
    }

    statusesOf(path) {
        return Object.keys(this.document.paths[path].get.responses).map(Number);
    }

    /** The names of a path's parameters in the query. */
    parametersOf(path) {
        const parameters = this.document.paths[path].get.parameters ?? [];
        return parameters.filter((parameter) => parameter.in === "query").map(({ name }) => name);
    }

    /** Paths with statuses that no answer has had so far: "/api/v1/lines 410". */
    notMet() {
        const all = this.paths.flatMap((path) => this.statusesOf(path).map((status) => `${path} ${status}`));
        return all.filter((each) => !this._met.has(each));
    }

    /** What is not as the schema of this name wants it; empty when nothing is. */
    faultsByName(name, value) {
        return this._faults(`openapi#/components/schemas/${name}`, value);
    }

    /** What in an answer at this path is not as described; empty when nothing is. */
    faults(path, { status, headers, body }) {
        this._met.add(`${path} ${status}`);
        const described = this.document.paths[path].get.responses[status];
        if (!described) return [`${status} is not described`];

        const faults = [];
        for (const [name, { required }] of Object.entries(described.headers ?? {})) {
            if (required && headers[name.toLowerCase()] === undefined) faults.push(`lacks the header ${name}`);
        }
        if (!described.content) {
            if (body.length > 0) faults.push("has a body where none is described");
            return faults;
        }
        const type = (headers["content-type"] ?? "").split(";")[0];
        if (!described.content[type]) return [...faults, `has the type "${type}", which is not described`];
        if (!type.endsWith("json")) return faults;
        const text = headers["content-encoding"] === "gzip" ? gunzipSync(body) : body;
        const place = [path, "get", "responses", status, "content", type, "schema"].map((key) => escaped(String(key)));
        const value = JSON.parse(text.toString("utf8"));
        faults.push(...this._faults(`openapi#/paths/${place.map(encodeURIComponent).join("/")}`, value));
        if (type === "application/problem+json" && value.status !== status) faults.push("names another status");
        return faults;
    }

    _faults(reference, value) {
        this._checks ??= new Map();
        if (!this._checks.has(reference)) this._checks.set(reference, this._ajv.compile({ $ref: reference }));
        const check = this._checks.get(reference);
        if (check(value)) return [];
        return check.errors.map(
            ({ instancePath, message, params }) => `${instancePath} ${message} ${JSON.stringify(params)}`,
        );
    }
}
