// SPDX-License-Identifier: Apache-2.0
// Draws what the server sends: a frame with everything, and for the port that is open its configuration and past. Text
// goes into the page as text alone.
"use strict";

const USED = 0, BOUND = 1, FULL = 2, DROPS = 5; // columns of a port's rows
const COLUMNS = [
    ["used", "bytes"], ["bound", "bytes"], ["full", ""], ["tail drops", "frames"], ["RED drops", "frames"],
    ["drops", "frames"], ["pause sent", "frames"], ["pause received", "frames"], ["sent", "bytes"], ["received", "bytes"],
];
const QUEUES = 8, PORT = 8; // rows

const $ = id => document.getElementById(id);
const tiles = new Map(); // by a port's index: what is drawn of it
let ports = [], portsTime = "", frame = null, open = 0, past = null, stream = null;

function make(tag, text, name) {
    const made = document.createElement(tag);
    if (text !== undefined && text !== null) made.textContent = text;
    if (name) made.className = name;
    return made;
}

// Changes what is different and nothing else, so that a frame costs what it brings.
function set(node, key, value) {
    if (node[key] !== value) node[key] = value;
}

function short(number) {
    for (const [unit, size] of [["G", 1e9], ["M", 1e6], ["k", 1e3]])
        if (number >= size) return (number / size).toPrecision(3) + " " + unit;
    return String(Math.round(number * 10) / 10) + " ";
}

const whole = number => number.toLocaleString("en");
const clock = time => (time || "").replace(/^.*T/, "").replace(/(\.\d+)?Z$/, "") + " UTC";

function ago(seconds) {
    if (seconds < 120) return seconds + " s";
    if (seconds < 7200) return Math.floor(seconds / 60) + " min";
    return seconds < 172800 ? Math.floor(seconds / 3600) + " h" : Math.floor(seconds / 86400) + " d";
}

function fill(list, items, empty) {
    const text = JSON.stringify(items.map(item => item.key));
    if (list.drawn === text) return; // as it was
    list.drawn = text;
    list.replaceChildren(...(items.length || !empty ? items.map(item => item.draw()) : [make("li", empty, "empty")]));
}

// ---- Processes

function role(row) {
    const item = make("li"), agent = row.process === "dorvald";
    item.append(make("b", (agent ? "Agent " : row.process + " ") + row.pid));
    const add = (text, name) => item.append(make("div", text, name));
    if (row.error !== undefined && row.error !== null) {
        item.append(make("span", "silent", "badge silent"));
        add("does not answer: " + row.error, "wrong");
        return item;
    }
    if (row.role) item.append(make("span", row.role, "badge " + (row.role === "active" ? "active" : "")));
    if (!agent) {
        add(Object.entries(row).filter(([key, value]) => !["process", "pid"].includes(key) && value !== null)
            .map(([key, value]) => key + " " + (typeof value === "object" ? JSON.stringify(value) : value)).join(" · "));
        return item;
    }
    add(row.stage_name + (typeof row.since === "number" ? " · in this role for " + ago(row.since) : ""));
    if (row.service) add("service " + row.service + " on " + row.host);
    if (row.driver)
        add("driver " + row.driver + (row.driver_error ? " · last error: " + row.driver_error : ""), row.driver === "lost" ? "wrong" : "");
    if (row.driver_pending > 0) add("waits for the driver's answer for " + ago(row.driver_pending), "wrong");
    if (row.role === "active") add(row.standbys ? "mirrored to " + row.standbys + " standby" : "no standby has its state");
    if (row.mirror) add("holds " + row.mirror);
    if (row.mirror_trouble) add(row.mirror_trouble, "wrong");
    return item;
}

// ---- The map

// Frames a second that a port drops; null where nothing of it is known.
function dropRate(port) {
    const own = port.rates[PORT] && port.rates[PORT][DROPS];
    if (own !== null && own !== undefined) return own;
    const queues = port.rates.slice(0, QUEUES).map(rate => rate[DROPS]).filter(rate => rate !== null);
    return queues.length ? queues.reduce((sum, rate) => sum + rate, 0) : null;
}

function reasonRate(port) {
    return port.reasons.reduce((sum, reason) => sum + (reason[2] || 0), 0);
}

// Whether there is one sample of counters and no second one that tells how fast they rise.
const isNew = port => dropRate(port) === null && port.reasons.every(reason => reason[2] === null) &&
    (port.reasons.length > 0 || port.values.some(row => row[DROPS] !== null));
const dropsNow = port => Math.max(dropRate(port) || 0, reasonRate(port));
const holds = port => port.values.some(row => row[USED] > 0);

function makeTile(port) {
    const tile = make("button", null, "tile");
    tile.type = "button";
    tile.tabIndex = -1;
    tile.dataset.port = port.name;
    const queues = make("span", null, "queues");
    queues.setAttribute("aria-hidden", "true");
    tile.bars = [];
    for (let q = 0; q < QUEUES; q++) {
        const bar = make("span", null, "queue");
        bar.append(make("i"));
        tile.bars.push(bar);
        queues.append(bar);
    }
    tile.append(make("span", port.name, "name"), queues, tile.sum = make("span", null, "sum"));
    tile.addEventListener("click", () => { location.hash = open === port.ifindex ? "" : port.name; });
    return tile;
}

function drawTile(tile, port) {
    const rate = dropsNow(port), dropping = [];
    const known = port.values.length > PORT;
    tile.bars.forEach((bar, q) => {
        const value = known ? port.values[q] : [], drops = known ? port.rates[q][DROPS] : null;
        const used = value[USED], bound = value[BOUND], has = typeof used === "number" && bound > 0;
        const drop = drops > 0, full = value[FULL] === 1 || (has && used >= bound);
        if (drop) dropping.push(q);
        set(bar, "className", "queue" + (drop ? " drop" : full ? " full" : has ? " hold" : " blank") +
            (known && value[DROPS] === null ? " undropped" : ""));
        const height = has ? Math.min(100, Math.round(100 * used / bound)) + "%" : "0";
        set(bar.firstChild.style, "height", height);
    });
    const unknown = known && dropRate(port) === null && !port.reasons.length;
    set(tile, "className", "tile" + (rate > 0 ? " dropping" : ""));
    set(tile.sum, "textContent", port.fault ? "no figures" : rate > 0 ? "▼ " + short(rate) + "/s" : isNew(port) ? "…" : unknown ? "–" : "0 drops");
    const label = port.name + ", " + (port.fault ? "no figures: " + port.fault
        : rate > 0 ? "drops " + short(rate) + "frames a second" + (dropping.length ? " in priority " + dropping.join(", ") : "")
        : isNew(port) ? "drops are not known yet" : unknown ? "drops are not known" : holds(port) ? "holds frames, drops nothing" : "drops nothing");
    if (tile.getAttribute("aria-label") !== label) tile.setAttribute("aria-label", label);
    tile.setAttribute("aria-pressed", String(port.ifindex === open));
}

function drawMap() {
    const map = $("map"), wanted = ports.filter(port => !$("busy").checked || holds(port) || dropsNow(port) > 0);
    const order = wanted.map(port => port.ifindex).join(" ");
    for (const port of wanted) {
        if (!tiles.has(port.ifindex)) tiles.set(port.ifindex, makeTile(port));
        drawTile(tiles.get(port.ifindex), port);
    }
    if (map.order !== order) {
        map.order = order;
        const focused = document.activeElement;
        map.replaceChildren(...wanted.map(port => tiles.get(port.ifindex)));
        if (!wanted.length) map.append(make("p", !frame || !frame.ports && !portsTime ? "No figures could be read."
            : ports.length ? "No port holds or drops anything." : "The agent knows no ports."));
        if (map.contains(focused)) focused.focus();
    }
    const first = map.querySelector(".tile[tabindex='0']") || map.querySelector(".tile");
    if (first) first.tabIndex = 0;
    const stale = frame && !frame.ports && portsTime !== "";
    map.classList.toggle("stale", Boolean(stale));
    const dropping = ports.filter(port => dropsNow(port) > 0).length;
    set($("summary"), "textContent", !ports.length ? "" : stale ? "as of " + clock(portsTime) + ", not read since"
        : ports.length + (ports.length === 1 ? " port, " : " ports, ") + (dropping ? dropping + " dropping" : ports.some(isNew) ? "drops not known yet" : "none drops"));
    document.title = (dropping && !stale ? "▼ " + dropping + " dropping · " : "") + "dorvald";
}

// Arrow keys go through the tiles as they lie.
$("map").addEventListener("keydown", event => {
    const all = [...$("map").querySelectorAll(".tile")], at = all.indexOf(document.activeElement);
    if (at < 0) return;
    const wide = all.filter(tile => tile.offsetTop === all[0].offsetTop).length;
    const steps = {ArrowLeft: -1, ArrowRight: 1, ArrowUp: -wide, ArrowDown: wide, Home: -at, End: all.length - 1 - at};
    const next = all[at + steps[event.key]];
    if (!next) return;
    event.preventDefault();
    next.focus();
});

// The tab key comes to one of them, the last that had the focus.
$("map").addEventListener("focusin", event => {
    for (const tile of $("map").querySelectorAll(".tile[tabindex='0']")) tile.tabIndex = -1;
    event.target.tabIndex = 0;
});

// ---- One port

function cells(row, rates, tag, label) {
    const line = make("tr");
    line.append(make("th", label));
    COLUMNS.forEach(([, unit], c) => {
        const cell = make(tag, row[c] === null ? "–" : c === FULL ? (row[c] ? "yes" : "no") : whole(row[c]));
        if (row[c] === null) cell.title = "not given";
        const rate = rates[c];
        if (rate > 0) cell.append(make("small", unit === "bytes" ? short(rate * 8) + "bit/s" : short(rate) + "/s"));
        line.append(cell);
    });
    if (rates[DROPS] > 0) line.className = "dropping";
    return line;
}

function drawPort() {
    const port = ports.find(each => each.ifindex === open);
    $("port").hidden = !port;
    if (!port) return;
    set($("port-title"), "textContent", port.name);
    set($("port-chip"), "textContent", port.chip + (port.family ? ", " + port.family : ""));
    $("port-fault").hidden = !port.fault;
    set($("port-fault"), "textContent", port.fault);
    const head = make("tr");
    head.append(make("th", "priority"), ...COLUMNS.map(([name, unit]) => {
        const cell = make("th", name);
        cell.append(make("small", unit));
        return cell;
    }));
    $("counters").replaceChildren(head, ...port.values.map((row, r) => cells(row, port.rates[r], "td", r === PORT ? "port" : r)));
    const missing = port.values.some(row => row.includes(null));
    set($("port-missing"), "textContent", missing ? "–: " + (port.family ? "a " + port.family : "this chip family") + " does not give this figure." : "");
    $("reasons").replaceChildren(...(port.reasons.length ? port.reasons : [["nothing so far, or the family does not tell", null, null]]).map(
        ([reason, total, rate]) => {
            const line = make("tr", null, rate > 0 ? "dropping" : "");
            const cell = make("td", total === null ? "" : whole(total));
            if (rate > 0) cell.append(make("small", short(rate) + "/s"));
            line.append(make("td", reason), cell);
            return line;
        }));
}

function chart(label, list, dropped) {
    const known = list.filter(value => value !== null), most = Math.max(1, ...known);
    const line = make("div", null, dropped ? "line dropped" : "line");
    const svg = document.createElementNS("http://www.w3.org/2000/svg", "svg");
    const path = document.createElementNS("http://www.w3.org/2000/svg", "path");
    let drawn = "", gap = true;
    list.forEach((value, x) => {
        if (value !== null) drawn += (gap ? "M" : "L") + x + " " + (29 - 27 * value / most).toFixed(1) + (gap ? "h.1" : "");
        gap = value === null;
    });
    svg.setAttribute("viewBox", "0 0 " + (list.length - 1) + " 30");
    svg.setAttribute("preserveAspectRatio", "none");
    svg.setAttribute("role", "img");
    svg.setAttribute("aria-label", "now " + whole(known[known.length - 1] || 0) + ", at most " + whole(most));
    path.setAttribute("d", drawn);
    svg.append(path);
    line.append(make("span", label), svg, make("span", "max " + short(Math.max(...known))));
    return line;
}

function drawPast() {
    const measure = $("measure").value, rows = past && past.past ? past.past.rows : [];
    const lines = [];
    let given = false;
    rows.forEach((row, r) => {
        const list = row[measure], known = list.filter(value => value !== null);
        given = given || known.length > 0;
        if (known.some(value => value > 0))
            lines.push(chart(r === PORT ? "port" : "priority " + r, list, measure === "dropped"));
    });
    $("past").replaceChildren(...(lines.length ? lines
        : [make("p", !past ? "…" : given ? "0 all the time." : "Not given by this chip family, or not read yet.", "note")]));
}

const isZero = value => Array.isArray(value) ? value.every(isZero) : value === 0 || value === "" || value === false || value === null;

function folded(value) {
    if (!Array.isArray(value)) return String(value);
    const runs = [];
    for (const each of value)
        if (runs.length && runs[runs.length - 1][0] === each) runs[runs.length - 1][1]++;
        else runs.push([each, 1]);
    return runs.map(([each, times]) => times > 1 ? each + "×" + times : String(each)).join(" ");
}

function drawConfig() {
    const lines = [];
    for (const row of past ? past.config : []) {
        const part = make("tr", null, "part"), head = make("th", row.kind);
        head.colSpan = 2;
        part.append(head);
        lines.push(part);
        for (const [key, value] of Object.entries(row)) {
            if (key === "kind" || (isZero(value) && !$("zeros").checked)) continue;
            const line = make("tr");
            line.append(make("th", key), make("td", folded(value)));
            lines.push(line);
        }
    }
    if (!lines.length) {
        const line = make("tr");
        line.append(make("td", !past ? "…" : past.fault || "The agent has no such port."));
        lines.push(line);
    }
    $("config").replaceChildren(...lines);
}

// ---- Below

function failure(row) {
    const item = make("li");
    item.append(make("time", clock(row.time)), make("span", row.name + " · " + row.failed + " of " + row.messages + " failed · batch " + row.batch));
    for (const each of row.failures)
        item.append(make("div", each.name + (each.port ? " " + each.port : "") + ": " + (each.status === null ? "" : "status " + each.status + ", ") + each.text));
    for (const each of row.driver)
        item.append(make("div", "driver: " + each.operation + (each.error ? ": " + each.error : " refused with " + each.number)));
    return item;
}

function happened(row) {
    const item = make("li");
    if (row.time) item.append(make("time", clock(row.time)));
    item.append(make("span", (row.pid ? row.tag + " " + row.pid + ": " : "") + row.text));
    return item;
}

// ---- What comes in

function draw() {
    const first = frame.node.find(row => row.host);
    set($("host"), "textContent", first ? "on " + first.host : "");
    set($("version"), "textContent", frame.version);
    fill($("trouble"), frame.trouble.map(text => ({key: text, draw: () => make("li", text)})));
    fill($("roles"), frame.node.map(row => ({key: row, draw: () => role(row)})), "No process of this node runs.");
    fill($("log"), frame.log.map(row => ({key: row, draw: () => failure(row)})), "None in what the agent remembers.");
    fill($("events"), frame.events.map(row => ({key: row, draw: () => happened(row)})), "None.");
    if (frame.ports) {
        ports = frame.ports;
        portsTime = frame.time;
    }
    drawMap();
    drawPort();
}

function state(name, text) {
    document.body.className = name;
    $("live").setAttribute("aria-live", name === "lost" ? "assertive" : "off"); // else it would tell each second
    set($("live"), "textContent", text);
}

function connect() {
    if (stream) stream.close();
    stream = new EventSource("live" + (open ? "?port=" + open : ""));
    stream.onmessage = event => {
        frame = JSON.parse(event.data);
        state("live", "live · " + clock(frame.time));
        draw();
    };
    stream.addEventListener("port", event => {
        past = JSON.parse(event.data);
        drawPast();
        drawConfig();
    });
    stream.onerror = () => {
        state("lost", "no connection to dorvctl web" + (frame ? "; as of " + clock(frame.time) : ""));
        if (stream.readyState === EventSource.CLOSED) setTimeout(connect, 3000); // refused: there is no place
    };
}

function choose() {
    const name = decodeURIComponent(location.hash.slice(1)), port = ports.find(each => each.name === name);
    const before = open;
    open = port ? port.ifindex : 0;
    past = null;
    drawMap();
    drawPort();
    drawPast();
    drawConfig();
    connect();
    if (open) $("port-title").focus();
    else if (before && tiles.has(before)) tiles.get(before).focus();
}

$("close").addEventListener("click", () => { location.hash = ""; });
$("measure").addEventListener("change", drawPast);
$("zeros").addEventListener("change", drawConfig);
$("busy").addEventListener("change", drawMap);
addEventListener("keydown", event => { if (event.key === "Escape" && open) location.hash = ""; });
addEventListener("hashchange", choose);

frame = JSON.parse($("first").textContent);
state("", "as of " + clock(frame.time));
draw();
if (location.hash) choose();
else connect();

// With ?measure the page says how wide it is, what colours it shows, and whether a port's last column can be reached.
if (location.search === "?measure") {
    const box = $("counters").parentNode, last = $("counters").querySelector("tr > :last-child");
    box.scrollLeft = box.scrollWidth;
    const reached = last && last.getBoundingClientRect().right <= Math.min(innerWidth, box.getBoundingClientRect().right + 1);
    const colour = node => node ? getComputedStyle(node).backgroundColor : "";
    document.body.dataset.measured = [document.scrollingElement.scrollWidth <= innerWidth ? "fits" : "scrolls", innerWidth,
        matchMedia("(prefers-color-scheme: dark)").matches ? "dark" : "light",
        colour(document.querySelector(".tile.dropping")), colour(document.querySelector(".tile:not(.dropping)")),
        last ? last.textContent + (reached ? " reached" : " hidden") : "none"].join(" | ");
}
