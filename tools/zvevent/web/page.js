// The live page: what the server holds, then what it streams. Everything that comes from the network
// is put in as text only, never as markup.
"use strict";

const kMaxMessages = 10000;  // as many as the server holds
const kRows = 100;           // shown at once; "Show more" adds as many
const kOverMs = 4000;        // a cleared alert stays visible for so long
const kRank = { debug: 0, info: 1, warning: 2, error: 3, critical: 3, malformed: 4 };
const kSyslog = ["error", "error", "error", "error", "warning", "info", "info", "debug"];

const find = (selector) => document.querySelector(selector);

function element(name, className, text) {
    const made = document.createElement(name);
    if (className) made.className = className;
    if (text !== undefined) made.textContent = text;
    return made;
}

const word = (value) => value === undefined || value === null ? ""
    : typeof value === "string" ? value : JSON.stringify(value);
const timeOfDay = (ms) => new Date(ms).toLocaleTimeString([], { hour12: false });
const short = (value) => String(Number(value.toPrecision(6)));
const severityClass = (severity) => Object.hasOwn(kRank, severity) ? severity : "info";

// --- Active alerts ---------------------------------------------------------------------------------

const alertRows = new Map();  // by key: {row, alert}
const seen = new Set();       // acknowledged, here only

function bar(alert) {
    const cell = element("div");
    const units = alert.units || "";
    const has = alert.value !== 0 || alert.threshold !== 0;
    if (!has) return cell;
    const against = alert.threshold === 0 ? "" : ` / ${short(alert.threshold)}`;
    cell.append(element("span", "", `${short(alert.value)}${against} ${units}`));
    if (alert.threshold === 0) return cell;
    const full = 1.25 * Math.max(Math.abs(alert.value), Math.abs(alert.threshold));
    const strip = element("div", `bar ${severityClass(alert.severity)}`);
    const fill = element("i"), limit = element("b");
    fill.style.width = `${100 * Math.abs(alert.value) / full}%`;
    limit.style.left = `${100 * Math.abs(alert.threshold) / full}%`;
    strip.setAttribute("aria-hidden", "true");
    strip.append(fill, limit);
    cell.append(strip);
    return cell;
}

// The button stays the same through changes: a click may last longer than one.
function newAlert() {
    const entry = { row: element("tr"), button: element("button", "", "Seen") };
    const mark = () => `${entry.alert.key} ${entry.alert.since}`;
    entry.row.setAttribute("role", "row");
    entry.button.type = "button";
    entry.showSeen = () => {
        entry.button.setAttribute("aria-pressed", String(seen.has(mark())));
        entry.row.classList.toggle("seen", seen.has(mark()));
    };
    entry.button.addEventListener("click", () => {
        if (!seen.delete(mark())) seen.add(mark());
        entry.showSeen();
    });
    const acknowledge = element("td");
    acknowledge.append(entry.button);
    entry.row.append(acknowledge);
    return entry;
}

function fillAlert({ row, button, showSeen }, alert) {
    const what = element("td");
    what.append(element("div", "", alert.message),
                element("div", "what", [alert.source_id || alert.source_name, alert.event_type]
                    .filter(Boolean).join(" · ")));
    const value = element("td");
    value.append(bar(alert));
    button.setAttribute("aria-label", `Acknowledge ${alert.message}`);
    while (row.children.length > 1) row.firstChild.remove();
    row.lastChild.before(
        element("td", `severity ${severityClass(alert.severity)}`, alert.severity), what, value,
        element("td", "", timeOfDay(alert.since)), element("td", "", `${alert.repeats} ×`));
    for (const cell of row.children) cell.setAttribute("role", "cell");
    showSeen();
}

function flash(row) {
    row.classList.remove("changed");
    void row.offsetWidth;  // begins the animation anew
    row.classList.add("changed");
}

// Rows slide from where they were.
function slide(rows, places) {
    if (matchMedia("(prefers-reduced-motion: reduce)").matches) return;
    for (const row of rows) {
        const moved = places.get(row) - row.offsetTop;
        if (moved) row.animate([{ transform: `translateY(${moved}px)` }, { transform: "none" }], 250);
    }
}

function showAlerts(alerts) {
    const body = find("#alerts tbody");
    const places = new Map([...body.children].map((row) => [row, row.offsetTop]));
    const keys = new Set(alerts.map((alert) => alert.key));
    const news = [];
    for (const [key, entry] of alertRows) {
        if (keys.has(key)) continue;
        alertRows.delete(key);
        entry.row.classList.add("over");
        entry.row.querySelector("button").disabled = true;
        news.push(`cleared: ${entry.alert.message}`);
        setTimeout(() => entry.row.remove(), kOverMs);
    }
    for (const alert of alerts) {
        let entry = alertRows.get(alert.key);
        if (entry && JSON.stringify(entry.alert) === JSON.stringify(alert)) continue;
        if (!entry) {
            entry = newAlert();
            alertRows.set(alert.key, entry);
            news.push(`${alert.severity}: ${alert.message}`);
        }
        entry.alert = alert;
        fillAlert(entry, alert);
        flash(entry.row);
    }
    const order = [...alertRows.values()].sort((a, b) =>
        (kRank[b.alert.severity] ?? 1) - (kRank[a.alert.severity] ?? 1) || a.alert.since - b.alert.since);
    order.forEach(({ row }, index) => {
        if (body.children[index] !== row) body.insertBefore(row, body.children[index] || null);
    });
    slide(body.children, places);
    find("#alert-count").textContent = alerts.length || "";
    find("#alerts table").hidden = body.children.length === 0;
    find("#alerts .nothing").hidden = alerts.length > 0;
    if (news.length) find("#news").textContent = news.slice(0, 5).join("; ");
}

// --- Stream ----------------------------------------------------------------------------------------

let messages = [];  // oldest first, each with what is shown of it
let last = 0;       // the newest one's number
let shownRows = kRows;
let pausedAt = 0;   // the newest number that a paused stream shows; 0: it runs
let missed = 0;
const rows = new Map();  // by number
const filter = { severity: "", source: "", type: "", text: "" };
const names = { sources: new Set(), types: new Set() };

// What a message says in one line, whatever it is.
function outline(message) {
    const line = { severity: "info", action: "", type: "", source: "", text: "" };
    if (message.malformed) return { ...line, severity: "malformed", text: message.malformed };
    const event = message.event;
    if (event && typeof event === "object")
        return { severity: word(event.severity) || "info", action: word(event.action),
                 type: word(event.event_type), source: word(event.source_id), text: word(event.message) };
    if (message.alerts) {
        const labels = message.alerts[0].labels;
        const rest = message.alerts.length > 1 ? ` and ${message.alerts.length - 1} more` : "";
        return { ...line, severity: word(labels.severity) || "info", action: "alerts",
                 type: word(labels.alertname), text: word(message.alerts[0].annotations) + rest };
    }
    if (message.header)
        return { ...line, severity: kSyslog[message.header.severity] || "info",
                 source: word(message.header.host), type: word(message.header.app),
                 text: `${word(message.text)} ${word(message.elements)}` };
    if (message.variables)
        return { ...line, text: message.variables
            .map((variable) => `${variable.name || variable.oid} = ${word(variable.value)}`).join(", ") };
    return { ...line, text: message.shortened ? "(too long to be shown whole)" : word(message.json) };
}

function known(name, value) {
    const set = names[name];
    if (!value || set.has(value) || set.size >= 100) return;
    set.add(value);
    const option = element("option");
    option.value = value;
    find(`#${name}`).append(option);
}

function prepared(message) {
    const line = outline(message);
    known("sources", line.source);
    known("types", line.type);
    return { message, line, low: null };
}

function passes(entry) {
    const { line } = entry;
    if (filter.severity && (kRank[line.severity] ?? 1) < kRank[filter.severity]) return false;
    if (filter.source && !line.source.toLowerCase().includes(filter.source)) return false;
    if (filter.type && !line.type.toLowerCase().includes(filter.type)) return false;
    if (!filter.text) return true;
    entry.low ??= `${line.text} ${line.action} ${line.severity} ${entry.message.raw}`.toLowerCase();
    return entry.low.includes(filter.text);
}

function block(inside, title, text) {
    inside.append(element("h4", "", title), element("pre", "", text));
}

// JSON in texts, such as an event's details, is unfolded.
function unfolded(event) {
    const copy = { ...event };
    try {
        if (typeof copy.details_json === "string") copy.details_json = JSON.parse(copy.details_json);
    } catch { /* it stays the text that it is */ }
    return JSON.stringify(copy, null, 2);
}

function inside(message) {
    const made = element("div", "inside");
    if (message.event) block(made, "Event", unfolded(message.event));
    for (const name of ["cloudevent", "alerts", "header", "elements", "json", "headers"])
        if (message[name] !== undefined && message[name] !== null)
            block(made, name, JSON.stringify(message[name], null, 2));
    if (message.variables)
        block(made, "Variables", message.variables
            .map((variable) => `${variable.name || variable.oid} = ${word(variable.value)}`).join("\n"));
    block(made, message.protocol === "snmp" ? "As it came, in hexadecimal" : "As it came", word(message.raw));
    return made;
}

function row({ message, line }) {
    const item = element("li"), details = element("details"), summary = element("summary");
    const way = [message.protocol, message.from, message.path].filter(Boolean).join(" ");
    summary.append(element("time", "", timeOfDay(message.ms)), " ",
                   element("span", `severity ${severityClass(line.severity)}`, line.severity), " ",
                   element("span", "", [line.action, line.type, line.source].filter(Boolean).join(" ")),
                   " ", element("strong", "", line.text.slice(0, 500)), " ", element("span", "way", way));
    details.append(summary);
    details.addEventListener("toggle", () => {
        if (!details.open || details.children.length > 1) return;
        details.append(inside(message));
        pause(true);  // or the next ones would carry it away from under the reader's eyes
    });
    item.append(details);
    return item;
}

// The newest that pass, as many as fit; what is there already stays.
function showMessages() {
    const list = find("#messages");
    const wanted = [];
    let hasMore = false;
    for (let i = messages.length - 1; i >= 0; --i) {
        const entry = messages[i];
        if (pausedAt && entry.message.number > pausedAt) continue;
        if (!passes(entry)) continue;
        if (wanted.length === shownRows) { hasMore = true; break; }
        wanted.push(entry);
    }
    const numbers = new Set(wanted.map((entry) => entry.message.number));
    for (const [key, item] of rows)
        if (!numbers.has(key)) { item.remove(); rows.delete(key); }
    let place = list.firstChild;
    for (const entry of wanted) {
        let item = rows.get(entry.message.number);
        if (!item) rows.set(entry.message.number, item = row(entry));
        if (item === place) place = place.nextSibling;
        else list.insertBefore(item, place);
    }
    find("#more").hidden = !hasMore;
    const none = find("#stream .nothing");
    none.hidden = wanted.length > 0;
    none.textContent = messages.length ? "Nothing passes the filter." : "Nothing has arrived yet.";
    find("#stream-count").textContent = `${messages.length} held` +
        (missed ? `, ${missed} came too fast for this browser` : "");
    const waiting = pausedAt ? last - pausedAt : 0;
    find("#pause").textContent = pausedAt ? `Resume${waiting ? ` (${waiting} new)` : ""}` : "Pause";
}

let drawing = false;
function draw() {
    if (drawing) return;
    drawing = true;
    requestAnimationFrame(() => { drawing = false; showMessages(); });
}

function pause(wanted) {
    if (wanted === Boolean(pausedAt)) return;
    pausedAt = wanted ? Math.max(last, 1) : 0;
    find("#pause").setAttribute("aria-pressed", String(wanted));
    draw();
}

function take(list) {
    for (const message of list) {
        if (message.number <= last) continue;
        last = message.number;
        messages.push(prepared(message));
    }
    if (messages.length > kMaxMessages * 1.1) messages = messages.slice(-kMaxMessages);
    draw();
}

// What was held before the first one; the first load does not wait for it.
async function takeOlder() {
    const first = messages.length ? messages[0].message.number : 0;
    if (first <= 1) return;
    const answer = await fetch(`older?before=${first}`);
    const older = await answer.json();
    if (messages.length && messages[0].message.number === first)
        messages = [...older.map(prepared), ...messages].slice(-kMaxMessages);
    draw();
}

// --- Health ----------------------------------------------------------------------------------------

function fillTable(selector, lines) {
    find(`${selector} tbody`).replaceChildren(...lines.map((cells) => {
        const made = element("tr");
        made.append(...cells.map((text) =>
            element("td", typeof text === "number" ? "number" : "", String(text))));
        return made;
    }));
}

function showHealth(health) {
    const protocols = Object.entries(health.protocols);
    const total = protocols.reduce((sum, [, counts]) => sum + counts.arrived, 0);
    const rate = health.rate < 10 ? health.rate.toFixed(1) : Math.round(health.rate);
    find("#summary").textContent = `${total} messages, ${rate} a second`;
    fillTable("#protocols", protocols.map(([name, counts]) => [name, counts.arrived, counts.malformed]));
    find("#lost").textContent =
        health.lost ? `${health.lost} messages came faster than they could be decoded.` : "";
    find("#status").hidden = !health.status;
    if (!health.status) return;
    const { path, error, file } = health.status;
    find("#status-of").textContent = path;
    find("#status-error").textContent = word(error) || word(file.config?.last_error);
    const outputs = Array.isArray(file?.outputs) ? file.outputs : [];
    find("#outputs").hidden = outputs.length === 0;
    fillTable("#outputs", outputs.map((output) => [
        word(output.output), Number(output.delivered), Number(output.failed),
        output.failing ? `failing: ${word(output.last_error)}`
            : output.last_error ? `good again; ${word(output.last_error)}` : "good"]));
}

// --- Together --------------------------------------------------------------------------------------

function apply(news) {
    if (news.missed) missed += news.missed;
    if (news.messages) take(news.messages);
    if (news.alerts) showAlerts(news.alerts);
    if (news.values) charts.update(news.values);
    if (news.health) showHealth(news.health);
}

// The server is another one, or has forgotten where this browser stood.
function beginAnew(news) {
    messages = [];
    last = 0;
    missed = 0;
    pause(false);
    for (const item of rows.values()) item.remove();
    rows.clear();
    charts.clear();
    apply({ alerts: [], ...news });
    takeOlder();
}

function connect(at) {
    const stream = new EventSource(`stream?at=${encodeURIComponent(at)}`);
    const say = (text, off) => {
        find("#connection").textContent = text;
        find("#connection").classList.toggle("off", off);
    };
    say("connecting", true);
    stream.addEventListener("open", () => say("live", false));
    stream.addEventListener("error", () => {
        say("not connected", true);
        // After an answer that is no stream a browser does not try again by itself.
        if (stream.readyState === EventSource.CLOSED) setTimeout(() => connect(at), 2000);
    });
    stream.addEventListener("more", (event) => apply(JSON.parse(event.data)));
    stream.addEventListener("all", (event) => beginAnew(JSON.parse(event.data)));
}

// Kept from visit to visit, unless the browser forbids it.
function setUpTheme() {
    const root = document.documentElement;
    const themes = ["system", "light", "dark"];
    const use = (theme) => {
        root.dataset.theme = theme;
        find("#theme").textContent = `Theme: ${theme}`;
    };
    const kept = (access) => { try { return access(localStorage); } catch { return null; } };
    const chosen = kept((storage) => storage.getItem("theme"));
    use(themes.includes(chosen) ? chosen : "system");
    find("#theme").addEventListener("click", () => {
        const next = themes[(themes.indexOf(root.dataset.theme) + 1) % themes.length];
        use(next);
        kept((storage) => storage.setItem("theme", next));
        charts.redraw();
    });
}

function setUp() {
    const form = find("#stream form");
    form.addEventListener("submit", (event) => event.preventDefault());
    form.addEventListener("input", () => {
        for (const name of Object.keys(filter)) filter[name] = form.elements[name].value.toLowerCase();
        shownRows = kRows;
        draw();
    });
    find("#pause").addEventListener("click", () => pause(!pausedAt));
    find("#more").addEventListener("click", () => { shownRows += kRows; draw(); });
    setUpTheme();
    const held = JSON.parse(find("#held").textContent);
    apply({ alerts: [], ...held });
    showMessages();
    takeOlder();
    connect(held.at);
}

setUp();
