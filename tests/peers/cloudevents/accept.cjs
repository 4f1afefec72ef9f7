// Hands HTTP messages to an implementation of CloudEvents and prints what it makes of them.
//
//     node accept.cjs FOLDER < [{"headers": {...}, "body": "..."}, ...]
//
// FOLDER is where the package is installed. Prints a list with, for every message, the event's
// attributes, or {"error": text} when it was refused.
const { createRequire } = require("node:module");
const { readFileSync } = require("node:fs");
const { join, resolve } = require("node:path");

const installed = createRequire(join(resolve(process.argv[2]), "package.json"));
const { HTTP } = installed("cloudevents");

function accepted({ headers, body }) {
    try {
        const event = HTTP.toEvent({ headers, body });
        event.validate();
        const { data, ...attributes } = event.toJSON();
        return { ...attributes, data_type: typeof data, message: data.message };
    } catch (error) {
        return { error: `${error.message} ${JSON.stringify(error.errors)}` };
    }
}

console.log(JSON.stringify(JSON.parse(readFileSync(0, "utf8")).map(accepted)));
