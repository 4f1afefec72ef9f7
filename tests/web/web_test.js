// The live page in a headless Chromium, fed by the command-line tool: what arrives is shown, as text,
// and the page stays usable whatever comes and goes.
//
// Environment, set by CTest: ZVEVENT_TOOL, the tool; ZVEVENT_SCREENS, a folder for pictures;
// NODE_PATH, where puppeteer-core is. Exit code 77: no browser.
"use strict";
const assert = require("assert");
const { spawn, execFileSync } = require("child_process");
const fs = require("fs");
const http = require("http");
const path = require("path");
const readline = require("readline");

const kBrowser = "/usr/bin/chromium";
if (!fs.existsSync(kBrowser)) process.exit(77);
const puppeteer = require("puppeteer-core");
const tool = process.env.ZVEVENT_TOOL, screens = process.env.ZVEVENT_SCREENS;
const kNasty = `<script>window.hurt=1</script><img src=x onerror="window.hurt=1">`;
const agent = new http.Agent({ keepAlive: true, maxSockets: 8 });

async function listen(web) {
    const command = ["listen", "--syslog", "0", "--snmp", "0", "--http", "0", "--web", web,
                     "--status", path.join(screens, "status.json")];
    const process = spawn(tool, command, { stdio: ["ignore", "pipe", "inherit"] });
    const ports = {};
    for await (const line of readline.createInterface(process.stdout)) {
        const [, name, port] = /(\w+) (?:on|page) .*[ :](\d+)\/?$/.exec(line);
        ports[name] = port;
        if (line.includes("http://")) return { process, ports, url: line.split(" ").at(-1) };
    }
}

const post = (server, document) => new Promise((resolve, reject) => http.request(
    { host: "127.0.0.1", agent, port: server.ports.http, method: "POST" }, (answer) => answer.resume().on("end", resolve))
    .on("error", reject).end(typeof document === "string" ? document : JSON.stringify(document)));
const event = (fields) => ({ event_id: 1, severity: "info", message: "m", ...fields });

// Over all three outputs at once.
function send(server, ...options) {
    const value = (name, text) => `<value name="${name}">${text}</value>`;
    const key = (name, ...inside) => `<key name="${name}">${inside.join("")}</key>`;
    const sink = (kind, name, ...more) =>
        key(kind, key(name, key("m", value("enabled", 1), ...more)));
    const config = path.join(screens, "events.xml");
    fs.writeFileSync(config, `<zvCFG>${key("QRV", key("Events",
        key("core", value("status_file", path.join(screens, "status.json"))),
        key("state", value("enabled", 0)), key("sink",
            key("native", key("main", value("enabled", 0))), sink("syslog", "udp", value("port", server.ports.syslog)),
            sink("snmp", "trap", value("port", server.ports.snmp)),
            sink("webhook", "http", value("endpoint_url", `http://127.0.0.1:${server.ports.http}/`)))))}</zvCFG>`);
    execFileSync(tool, ["send", "--config", config, ...options], { stdio: "ignore" });
}

const text = (page, selector) => page.$eval(selector, (found) => found.innerText.replace(/\s+/g, " "));
const shows = (page, selector, wanted) => page.waitForFunction(
    (where, what) => (document.querySelector(where)?.textContent || "").includes(what), {}, selector, wanted)
    .catch(async () => assert.fail(`no "${wanted}" in ${selector}: ${await text(page, "body")}`));

async function checkAlert(page, server) {
    const alert = (action, ...more) => send(server, "--action", action, "--type", "temperature",
        "--source", "psu-1", "--severity", "warning", "--threshold=75", "--units=C", ...more);
    alert("raise", "--message=too hot", "--value=81.5");
    await shows(page, "#alerts tbody", "too hot");
    assert.match(await text(page, "#alerts tbody tr"), /warning too hot psu-1 · temperature 81.5 \/ 75 C .* 0 ×/);
    alert("update", "--message=still hot", "--value=90");
    await shows(page, "#alerts tbody", "1 ×");
    assert.match(await text(page, "#alerts tbody tr"), /still hot .*90 \/ 75 C/);
    await page.click("#alerts button");
    assert.ok(await page.$("#alerts tr.seen"));
    await shows(page, "figcaption", "psu-1 · temperature90 C");
    alert("clear", "--message=cool", "--value=70");
    await page.waitForFunction(() => document.querySelectorAll("#alerts tbody tr").length === 0);
    await page.waitForFunction(() => document.querySelector("figure div").ariaLabel ===
        "3 values, last 70 C, threshold 75, 1 alerts");
    assert.match(await text(page, "#protocols"), /http 3 0.* snmp 3 0.* syslog 3 0/);
    await shows(page, "#outputs", "webhook/http/m");
}

async function checkText(page, server) {
    const names = ["severity", "action", "event_type", "source_id", "source_name", "message", "units",
                   "dedupe_key", "details_json"];
    const all = Object.fromEntries(names.map((name) => [name, kNasty]));
    const document = event({ ...all, value: 1, threshold: 2 });
    for (const body of [document, { ...document, action: "raise" }, { specversion: kNasty, data: document }, kNasty,
                        [{ labels: { alertname: kNasty, severity: kNasty } }], { [kNasty]: kNasty }])
        await post(server, body);
    send(server, ...["type", "source", "name", "message", "dedupe-key"].map((name) => `--${name}=${kNasty}`));
    for (const place of ["#alerts tbody", "#charts", "#messages"]) await shows(page, place, kNasty);
    await page.waitForFunction(() => document.querySelectorAll("#messages li").length === 18);
    await page.$$eval("#messages summary", (all) => all.forEach((summary) => summary.click()));
    const unhurt = async () => assert.deepStrictEqual(await page.evaluate(() =>
        ["hurt" in window, document.images.length, document.scripts.length]), [false, 0, 4]);
    await unhurt();
    await page.click("#theme");
    await page.reload();  // what is held comes in the page itself
    assert.equal(await page.$eval("#theme", (button) => button.textContent), "Theme: light");
    await shows(page, "#messages", kNasty);
    await unhurt();
}

async function checkFilters(page, server) {
    for (const [severity, source_id] of [["debug", "disk-1"], ["warning", "disk-2"], ["error", "fan"]])
        await post(server, event({ severity, source_id, event_type: `${source_id} type`, message: `of ${source_id}` }));
    await shows(page, "#messages", "of fan");
    for (const [name, typed, count] of [["source", "DISK", 2], ["type", "fan t", 1], ["text", "of disk-2", 1],
                                        ["text", "\"source_id\":\"fan\"", 1], ["text", "nowhere", 0]]) {
        await page.type(`[name=${name}]`, typed);
        await page.waitForFunction((n) => document.querySelectorAll("#messages li").length === n, {}, count);
        await page.$eval("form", (form) => { form.reset(); form.dispatchEvent(new Event("input")); });
    }
    for (const [severity, wanted] of [["malformed", "malformed"], ["warning", "error"], ["", "error"]]) {
        await page.select("[name=severity]", severity);
        await page.waitForFunction((word) => document.querySelector("#messages .severity")?.textContent === word,
                                   {}, wanted);
    }
    await page.click("#messages summary");  // holds the stream
    await shows(page, "#messages pre", '"source_id": "fan"');
    await post(server, event({ message: "behind" }));
    await shows(page, "#pause", "Resume (1 new)");
    await page.click("#pause");
    await shows(page, "#messages li", "behind");
}

async function checkMany(page, server) {
    await page.evaluate(() => {
        let before = performance.now();
        window.gap = 0;
        setInterval(() => { window.gap = Math.max(window.gap, performance.now() - before); before = performance.now(); }, 20);
    });
    const begun = Date.now();
    await Promise.all(Array.from({ length: 10000 }, (_, i) => post(server,
        event({ message: `number ${i}`, event_type: "load", source_id: `s${i % 20}`, value: i, utc_ns: (begun + i) * 1e6 }))));
    const seconds = (Date.now() - begun) / 1000;
    await post(server, event({ message: "the last" }));
    await shows(page, "#messages li", "the last");
    console.log(`10000 events in ${seconds} s, longest the page was busy ${await page.evaluate(() => window.gap)} ms`);
    assert.strictEqual(await page.$$eval("#messages li", (items) => items.length), 100);
    await page.type("[name=text]", "number 7777");
    await shows(page, "#messages li", "number 7777");
    await page.reload();
    await shows(page, "#stream-count", "10000 held");
}

async function checkLooks(page) {
    for (const scheme of ["light", "dark"])
        for (const width of [360, 1280, 2560]) {
            await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: scheme }]);
            await page.setViewport({ width, height: Math.max(900, width * 0.5625) });
            await page.evaluate(() => scrollTo(0, 0));
            await page.screenshot({ path: path.join(screens, `${scheme}-${width}.png`) });
            assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), `wide ${width}`);
        }
}

(async () => {
    fs.mkdirSync(screens, { recursive: true });
    let server = await listen("0");
    const browser = await puppeteer.launch({ executablePath: kBrowser, args: ["--no-sandbox"] });
    try {
        const page = await browser.newPage();
        const complaints = [];
        page.on("pageerror", (error) => complaints.push(String(error.stack)));
        await page.goto(server.url);
        await checkAlert(page, server);
        await checkText(page, server);
        await checkFilters(page, server);
        await checkLooks(page);
        await checkMany(page, server);
        assert.deepStrictEqual(complaints, []);
        // The browser stays, the tool comes back with nothing held.
        server.process.kill("SIGINT");
        await shows(page, "#connection", "not connected");
        server = await listen(server.ports.live);
        await shows(page, "#stream-count", "0 held");
        await post(server, event({ message: "a new beginning" }));
        await shows(page, "#messages li", "a new beginning");
    } finally {
        await browser.close();
        server.process.kill("SIGINT");
        agent.destroy();
    }
})().catch((error) => { console.error(error); process.exitCode = 1; });
