'use strict';

// What the page shows comes from three questions: /api/panel once, /events as it happens, /api/values for the objects in
// sight. Nothing is kept for longer than LONGEST_SPAN or beyond MOST_ROWS, however long the page is open.

const LONGEST_SPAN = 900;
const MOST_ROWS = 1000;
const MOST_POINTS = 9000;
const ROWS_SHOWN = 200;
const OBJECTS_SHOWN = 150;
const SPARK_SECONDS = 60;

const TOKEN = document.querySelector('meta[name="panel-token"]').content;
const $ = (id) => document.getElementById(id);

/** An element with attributes, listeners (onclick: ...) and children. */
function make(tag, attributes = {}, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
        if (name.startsWith('on'))
            element.addEventListener(name.slice(2), value);
        else if (value !== undefined && value !== false)
            element.setAttribute(name, value === true ? '' : value);
    }
    element.append(...children.filter((child) => child !== null));
    return element;
}

function makeSVG(tag, attributes = {}, text = '') {
    const element = document.createElementNS('http://www.w3.org/2000/svg', tag);
    for (const [name, value] of Object.entries(attributes))
        element.setAttribute(name, value);
    element.textContent = text;
    return element;
}

function setText(element, text) {
    if (element.textContent !== text)
        element.textContent = text;
}

const hex = (number, digits) => '0x' + number.toString(16).toUpperCase().padStart(digits, '0');
const addressOf = (key) => `0x${key.slice(0, 4)}/${parseInt(key.slice(4), 16)}`;
const seconds = (microseconds) => microseconds / 1e6;

/** A duration of so many microseconds in three or four digits. */
function duration(microseconds) {
    if (microseconds >= 1e7)
        return `${(microseconds / 1e6).toFixed(0)} s`;
    if (microseconds >= 1e6)
        return `${(microseconds / 1e6).toFixed(2)} s`;
    const ms = microseconds / 1000;
    return `${ms >= 100 ? ms.toFixed(0) : ms >= 10 ? ms.toFixed(1) : ms.toFixed(2)} ms`;
}

function clock(microseconds) {
    const time = new Date(microseconds / 1000);
    const two = (number) => String(number).padStart(2, '0');
    return `${two(time.getHours())}:${two(time.getMinutes())}:${two(time.getSeconds())}.` +
        String(Math.floor(microseconds / 1000) % 1000).padStart(3, '0');
}

/** Writes an object as a master would. Resolves to why it was refused, or to an empty text. */
async function write(key, text) {
    try {
        const answer = await fetch(`/api/objects/${key}`,
            { method: 'PUT', headers: { 'X-Panel-Token': TOKEN, 'Content-Type': 'text/plain' }, body: text });
        const said = await answer.text();
        return said.startsWith('{') ? JSON.parse(said).reason : said.trim();
    }
    catch {
        return 'the panel does not answer';
    }
}

// ---- objects, and the values of those that are variables

const objects = new Map();     // by key, as /api/panel describes them
const values = new Map();      // by key: { value, invalid, reason }
const histories = new Map();   // by key: [{ t, v }], of numbers
const cards = new Map();       // by key: what shows it
let description = null;

class History {
    constructor() {
        this.points = [];
    }

    add(t, v) {
        this.points.push({ t, v });
        const from = t - LONGEST_SPAN;
        // The last point before the span is where the line comes from.
        while (this.points.length > MOST_POINTS || (this.points.length > 2 && this.points[1].t < from))
            this.points.shift();
    }

    /** The points of the last seconds, and the value at both ends. */
    since(from, now) {
        let first = this.points.findIndex((point) => point.t >= from);
        if (first < 0)
            first = this.points.length;
        const shown = this.points.slice(Math.max(0, first - 1));
        if (shown.length > 0)
            shown.push({ t: now, v: shown[shown.length - 1].v });
        return shown;
    }
}

function canvasOf(element) {
    const ratio = window.devicePixelRatio || 1;
    const width = element.clientWidth;
    const height = element.clientHeight;
    if (element.width !== Math.round(width * ratio) || element.height !== Math.round(height * ratio)) {
        element.width = Math.round(width * ratio);
        element.height = Math.round(height * ratio);
    }
    const context = element.getContext('2d');
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.clearRect(0, 0, width, height);
    return { context, width, height };
}

const color = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

/** Draws a line of steps. @param box { left, top, right, bottom } @param scale { from, to, low, high } */
function drawSteps(context, points, box, scale, filled) {
    const x = (t) => box.left + (t - scale.from) / (scale.to - scale.from) * (box.right - box.left);
    const y = (v) => box.bottom - (v - scale.low) / (scale.high - scale.low || 1) * (box.bottom - box.top);
    context.save();
    context.beginPath();
    context.rect(box.left, 0, box.right - box.left, box.bottom + 2);
    context.clip();
    context.beginPath();
    points.forEach((point, i) => {
        if (i === 0) {
            context.moveTo(x(point.t), y(point.v));
        }
        else {
            context.lineTo(x(point.t), y(points[i - 1].v));
            context.lineTo(x(point.t), y(point.v));
        }
    });
    context.lineWidth = 1.5;
    context.strokeStyle = color('--accent');
    context.stroke();
    if (filled && points.length > 0) {
        context.lineTo(box.right, box.bottom);
        context.lineTo(x(points[0].t), box.bottom);
        context.globalAlpha = 0.12;
        context.fillStyle = color('--accent');
        context.fill();
    }
    context.restore();
}

function rangeOf(points) {
    let low = Infinity;
    let high = -Infinity;
    for (const { v } of points) {
        low = Math.min(low, v);
        high = Math.max(high, v);
    }
    return low <= high ? { low, high } : { low: 0, high: 1 };
}

/** A picture of a value over time, with its scale. */
function drawRun(canvas, history, span, now) {
    const { context, width, height } = canvasOf(canvas);
    const box = { left: 52, top: 8, right: width - 4, bottom: height - 18 };
    const points = history.since(now - span, now);
    const { low, high } = rangeOf(points);
    const margin = (high - low) * 0.08 || 1;
    const scale = { from: now - span, to: now, low: low - margin, high: high + margin };
    context.font = '10.5px system-ui, sans-serif';
    context.fillStyle = color('--soft');
    context.strokeStyle = color('--line');
    context.textBaseline = 'middle';
    context.textAlign = 'right';
    const y = (v) => box.bottom - (v - scale.low) / (scale.high - scale.low) * (box.bottom - box.top);
    for (const v of high === low ? [low] : [low, high]) {
        context.beginPath();
        context.moveTo(box.left, y(v));
        context.lineTo(box.right, y(v));
        context.stroke();
        context.fillText(String(v), box.left - 6, y(v));
    }
    drawTimes(context, box, span, height);
    drawSteps(context, points, box, scale, false);
}

function drawTimes(context, box, span, height) {
    const step = span <= 60 ? 15 : span <= 300 ? 60 : 300;
    context.textBaseline = 'alphabetic';
    for (let ago = 0; ago <= span; ago += step) {
        const x = box.right - ago / span * (box.right - box.left);
        context.textAlign = ago === 0 ? 'right' : ago === span ? 'left' : 'center';
        context.fillText(ago === 0 ? 'now' : step < 60 ? `−${ago} s` : `−${ago / 60} min`, x, height - 4);
    }
}

// ---- the view of values

const chosen = new Set(JSON.parse(localStorage.getItem('panel-chosen') ?? '[]'));

const isBoolean = (object) => object.type === 'BOOLEAN';

/** Whether its limits are narrower than what every object of its type may hold, or so few that a bar says something. */
function hasLimits(object) {
    if (object.low === undefined || isBoolean(object))
        return false;
    const range = object.high - object.low;
    return range > 0 && (range < 2 ** object.bits - 1 || object.bits <= 12);
}

class Card {
    constructor(key) {
        const object = objects.get(key);
        this.key = key;
        this.object = object;
        this.isNumber = object.low !== undefined && !isBoolean(object);
        this.value = make('div', { class: this.isNumber ? 'value' : 'value words', id: `value-${key}` }, '–');
        this.plot = object.low === undefined ? null : make('button', {
            class: 'plot', type: 'button', 'aria-pressed': String(chosen.has(key)), 'aria-label': `Plot ${object.name}`,
            onclick: () => togglePlot(key, this.plot),
        }, 'plot');
        this.element = make('div', { class: 'card', role: 'group', 'aria-label': object.name },
            make('div', { class: 'card-head' }, make('h3', { title: `${addressOf(key)} ${object.type} ${object.access}` },
                object.name), this.plot));
        this.stale = make('span', { class: 'stale-note', title: 'What it comes from has not been received in time.', hidden: true }, 'not valid');
        this.element.firstChild.firstChild.after(this.stale);
        this.reason = make('p', { class: 'reason', role: 'alert', hidden: true });
        if (isBoolean(object) && object.writable)
            this.addSwitch();
        else
            this.element.append(this.value);
        if (this.isNumber)
            this.addPictures();
        if (object.writable && !isBoolean(object))
            this.addForm();
        this.element.append(this.reason);
    }

    addSwitch() {
        this.switch = make('button', {
            class: 'switch', type: 'button', role: 'switch', 'aria-checked': 'false', 'aria-label': this.object.name,
            onclick: () => this.send(this.switch.getAttribute('aria-checked') === 'true' ? '0' : '1'),
        }, this.value);
        this.element.append(this.switch);
    }

    addPictures() {
        if (hasLimits(this.object)) {
            this.fill = make('div');
            this.meter = make('div', {
                class: 'meter', role: 'meter', 'aria-label': `${this.object.name} within its limits`,
                'aria-valuemin': this.object.low, 'aria-valuemax': this.object.high,
            }, this.fill);
            this.element.append(this.meter, make('div', { class: 'limits', 'aria-hidden': 'true' },
                make('span', {}, String(this.object.low)), make('span', {}, String(this.object.high))));
        }
        else {
            this.spark = make('canvas', { class: 'spark', 'aria-hidden': 'true' });
            this.element.append(this.spark);
        }
    }

    addForm() {
        this.input = make('input', {
            type: 'text', 'aria-label': `New value of ${this.object.name}`, autocomplete: 'off', spellcheck: 'false',
            inputmode: this.isNumber && this.object.low >= 0 ? 'numeric' : undefined,
            placeholder: this.isNumber ? `${this.object.low} … ${this.object.high}` : 'new text',
        });
        this.element.append(make('form', {
            onsubmit: (event) => {
                event.preventDefault();
                this.send(this.input.value);
            },
        }, this.input, make('button', { type: 'submit', 'aria-label': `Set ${this.object.name}` }, 'Set')));
    }

    async send(text) {
        const reason = await write(this.key, text);
        this.reason.hidden = reason === '';
        setText(this.reason, reason);
        if (this.input !== undefined) {
            this.input.setAttribute('aria-invalid', String(reason !== ''));
            if (reason === '')
                this.input.value = '';
        }
    }

    show({ value, invalid, reason }) {
        this.element.classList.toggle('stale', invalid === true || reason !== undefined);
        this.stale.hidden = invalid !== true;
        if (reason !== undefined)
            setText(this.value, reason);
        else if (isBoolean(this.object))
            this.showBoolean(value !== 0);
        else
            setText(this.value, value === '' ? '(empty)' : String(value));
        if (this.meter !== undefined && reason === undefined) {
            const { low, high } = this.object;
            this.fill.style.width = `${Math.min(1, Math.max(0, (value - low) / (high - low))) * 100}%`;
            this.meter.setAttribute('aria-valuenow', value);
        }
    }

    showBoolean(isOn) {
        setText(this.value, isOn ? 'on' : 'off');
        this.value.classList.toggle('off', !isOn);
        this.switch?.setAttribute('aria-checked', String(isOn));
    }

    draw(now) {
        if (this.spark === undefined || this.spark.clientWidth === 0)
            return;
        const { context, width, height } = canvasOf(this.spark);
        const points = histories.get(this.key).since(now - SPARK_SECONDS, now);
        const { low, high } = rangeOf(points);
        const margin = high === low ? 1 : 0;
        const from = Math.max(now - SPARK_SECONDS, histories.get(this.key).points[0]?.t ?? 0);
        drawSteps(context, points, { left: 0, top: 2, right: width, bottom: height - 2 },
            { from, to: now, low: low - margin, high: high + margin }, true);
    }
}

/** What an application called its RECORD: "INDEX_MACHINE" is how a variable tells the node that its index is one. */
function groupName(name) {
    if (!name.startsWith('INDEX_'))
        return name;
    const words = name.slice(6).replaceAll('_', ' ').toLowerCase();
    return words.charAt(0).toUpperCase() + words.slice(1);
}

function buildCards() {
    const groups = new Map();
    for (const key of description.variables) {
        const object = objects.get(key);
        if (object.record && key.endsWith('00'))
            continue;  // how many sub-indexes there are is no value of the machine
        const index = key.slice(0, 4);
        if (!groups.has(index))
            groups.set(index, make('div', { class: 'grid' }));
        const card = new Card(key);
        cards.set(key, card);
        histories.set(key, new History());
        groups.get(index).append(card.element);
    }
    for (const [index, grid] of groups) {
        const key = description.variables.find((one) => one.startsWith(index));
        $('cards').append(make('div', { class: 'group' },
            make('h2', {}, groupName(objects.get(key).object), make('span', { class: 'quiet' }, `0x${index}`)), grid));
    }
    if (groups.size === 0)
        $('cards').append(make('p', { class: 'quiet' }, 'This node has no variables.'));
    for (const key of chosen) {
        if (!cards.has(key))
            chosen.delete(key);
    }
    buildRuns();
}

function togglePlot(key, button) {
    const isChosen = !chosen.has(key);
    if (isChosen)
        chosen.add(key);
    else
        chosen.delete(key);
    button.setAttribute('aria-pressed', String(isChosen));
    localStorage.setItem('panel-chosen', JSON.stringify([...chosen]));
    buildRuns();
}

const runs = new Map();  // by key: { canvas, value }

function buildRuns() {
    runs.clear();
    $('runs').replaceChildren();
    for (const key of chosen) {
        const value = make('strong');
        const canvas = make('canvas', { class: 'chart', role: 'img', 'aria-label': `Run of ${objects.get(key).name}` });
        runs.set(key, { canvas, value });
        $('runs').append(make('div', { class: 'run' },
            make('div', { class: 'run-head' }, make('span', {}, objects.get(key).name), value), canvas));
    }
    $('runs-block').hidden = chosen.size === 0;
    drawValues();
}

function drawValues() {
    if ($('view-values').hidden)
        return;
    const now = Date.now() / 1000;
    for (const card of cards.values())
        card.draw(now);
    for (const [key, run] of runs) {
        drawRun(run.canvas, histories.get(key), Number($('span').value), now);
        setText(run.value, String(values.get(key)?.value ?? '–'));
    }
}

function takeValues(changed) {
    const now = Date.now() / 1000;
    for (const [key, reading] of Object.entries(changed)) {
        values.set(key, reading);
        const card = cards.get(key);
        if (card !== undefined) {
            card.show(reading);
            if (typeof reading.value === 'number')
                histories.get(key).add(now, reading.value);
        }
    }
}

// ---- the view of objects

let found = [];
let shownObjects = 0;
const inSight = new Set();
const watcher = new IntersectionObserver((entries) => {
    for (const { target, isIntersecting } of entries) {
        if (isIntersecting)
            inSight.add(target.dataset.key);
        else
            inSight.delete(target.dataset.key);
    }
});

const isDataType = (object) => parseInt(object.key.slice(0, 4), 16) < 0x1000;

function search() {
    const words = $('search').value.toLowerCase().split(/\s+/).filter((word) => word !== '');
    found = [...objects.values()].filter((object) => words.every((word) => object.text.includes(word)));
    // The data types come last: they are the same on every node.
    found = [...found.filter((object) => !isDataType(object)), ...found.filter(isDataType)];
    watcher.disconnect();
    inSight.clear();
    $('objects').replaceChildren();
    shownObjects = 0;
    showMoreObjects();
}

function showMoreObjects() {
    const more = found.slice(shownObjects, shownObjects + OBJECTS_SHOWN);
    for (const object of more) {
        const row = makeObjectRow(object);
        $('objects').append(row);
        watcher.observe(row);
    }
    shownObjects += more.length;
    setText($('search-count'), found.length === objects.size ? `${objects.size} objects` : `${found.length} of ${objects.size}`);
    $('more').hidden = shownObjects >= found.length;
}

function makeObjectRow(object) {
    const value = make('td', { class: 'val' }, make('span', { class: 'quiet' }, object.readable ? '…' : 'write only'));
    if (object.writable) {
        value.append(make('button', {
            class: 'change', type: 'button', 'aria-label': `Change ${object.object} ${object.name}`,
            onclick: () => editObject(object, value),
        }, 'change'));
    }
    const isPart = object.record && object.name !== object.object;
    return make('tr', { 'data-key': object.key },
        make('td', { class: 'code' }, addressOf(object.key)),
        make('td', {}, isPart ? make('span', { class: 'parent' }, `${groupName(object.object)} › `) : null,
            groupName(object.name) || object.object || `data type ${object.type}`),
        make('td', { class: 'wide' }, object.type),
        make('td', { class: 'wide' }, object.access), value);
}

function editObject(object, cell) {
    const before = [...cell.childNodes];
    const close = () => {
        cell.replaceChildren(...before);
        before[before.length - 1].focus();
        askForObjects();
    };
    const reason = make('p', { class: 'reason', role: 'alert', hidden: true });
    const input = make('input', {
        type: 'text', 'aria-label': `New value of ${object.object} ${object.name}`, autocomplete: 'off', spellcheck: 'false',
    });
    cell.replaceChildren(make('form', {
        onsubmit: async (event) => {
            event.preventDefault();
            const why = await write(object.key, input.value);
            reason.hidden = why === '';
            setText(reason, why);
            if (why === '')
                close();
        },
        onkeydown: (event) => {
            if (event.key === 'Escape')
                close();
        },
    }, input, make('button', { type: 'submit' }, 'Set'), make('button', { type: 'button', onclick: close }, 'Cancel')), reason);
    input.value = values.get(object.key)?.value ?? '';
    input.select();
    input.focus();
}

function showObject(key, reading) {
    const span = document.querySelector(`#objects tr[data-key="${key}"] .val > span`);
    if (span === null)
        return;
    span.classList.toggle('quiet', reading.reason !== undefined || reading.invalid === true);
    setText(span, readingText(objects.get(key), reading));
    span.title = reading.invalid ? 'marked invalid' : '';
}

function readingText(object, { value, reason }) {
    if (reason !== undefined)
        return reason;
    if (isBoolean(object))
        return value === 0 ? 'false' : 'true';
    if (typeof value === 'string')
        return value === '' ? '(empty)' : value;
    // Identifiers, codes and mappings of the communication profile are read in hexadecimal.
    return parseInt(object.key.slice(0, 4), 16) < 0x2000 && value > 255 ? `${value} = ${hex(value, 4)}` : String(value);
}

async function askForObjects() {
    const keys = [...inSight].filter((key) => objects.get(key).readable).slice(0, 200);
    if (keys.length === 0 || $('view-objects').hidden)
        return;
    const answer = await fetch(`/api/values?keys=${keys.join(',')}`);
    if (!answer.ok)
        return;
    for (const [key, reading] of Object.entries(await answer.json())) {
        if (!cards.has(key))
            values.set(key, reading);
        showObject(key, reading);
    }
}

// ---- the view of traffic

let frames = [];  // the newest last
let frozen = null;  // what is shown while paused
let missed = 0;
let framesChanged = true;

function takeFrames({ rows, missed: more }) {
    missed += more;
    for (const [time, sent, cobID, service, node, object, details, data, violation] of rows) {
        const meaning = violation === '' ? details : `${details} — ${violation}`;
        const address = hex(cobID, 3);
        frames.push({
            time, sent, address, service, node, object, meaning, data, violation,
            text: `${address} ${service} ${node === 0 ? '' : `node ${node}`} ${object} ${meaning} ${data} ${sent ? 'out' : 'in'}`
                .toLowerCase(),
        });
    }
    if (frames.length > MOST_ROWS)
        frames = frames.slice(-MOST_ROWS);
    framesChanged = true;
}

function filterFrames(all) {
    const words = $('filter').value.toLowerCase().split(/\s+/).filter((word) => word !== '' && word !== '-');
    const matches = (row) => words.every((word) => word.startsWith('-') ? !row.text.includes(word.slice(1)) : row.text.includes(word));
    return words.length === 0 ? all : all.filter(matches);
}

function showFrames() {
    if ($('view-traffic').hidden || !framesChanged)
        return;
    framesChanged = false;
    const all = frozen ?? frames;
    const matching = filterFrames(all);
    $('frames').replaceChildren(...matching.slice(-ROWS_SHOWN).reverse().map(makeFrameRow));
    $('frames-empty').hidden = matching.length > 0;
    setText($('traffic-count'), `${matching.length} of the last ${all.length} frames` +
        (missed > 0 ? `, ${missed} left out because they came too fast` : ''));
}

function makeFrameRow(row) {
    const kind = `${row.sent ? 'own' : ''} ${row.violation === '' && !row.meaning.startsWith('abort') ? '' : 'problem'}`;
    return make('tr', { class: kind.trim() },
        make('td', {}, clock(row.time)),
        make('td', { class: 'direction', title: row.sent ? 'sent by this node' : 'received' }, row.sent ? '→' : '←'),
        make('td', {}, row.address),
        make('td', {}, row.service),
        make('td', { class: 'number' }, row.node === 0 ? '' : String(row.node)),
        make('td', {}, row.object),
        make('td', { class: 'words' }, row.meaning),
        make('td', { class: 'wide' }, row.data));
}

function pause() {
    frozen = frozen === null ? [...frames] : null;
    $('pause').setAttribute('aria-pressed', String(frozen !== null));
    setText($('pause'), frozen === null ? 'Pause' : 'Go on');
    framesChanged = true;
    showFrames();
}

function clearFrames() {
    frames = [];
    missed = 0;
    frozen = frozen === null ? null : [];
    framesChanged = true;
    showFrames();
}

// ---- the views of the network and of timing

const loads = new History();
let network = null;

const STATE_KINDS = { OPERATIONAL: 'good', 'PRE-OPERATIONAL': 'warn', STOPPED: 'bad', 'FATAL ERROR': 'bad' };

function showState(element, state) {
    setText(element, state === '' ? 'unknown' : state);
    element.className = `badge ${STATE_KINDS[state] ?? ''}`;
}

function takeNetwork(next) {
    network = next;
    loads.add(Date.now() / 1000, next.bits);
    showState($('state'), next.state);
    showLoad();
    showNetwork();
    showTiming();
}

function loadText() {
    const share = network.bits / description.bitrate * 100;
    return `${share < 10 ? share.toFixed(1) : share.toFixed(0)} %`;
}

function showLoad() {
    if (network === null)
        return;
    setText($('load'), `bus load ${loadText()}`);
    if ($('view-network').hidden)
        return;
    const canvas = $('load-chart');
    const { context, width, height } = canvasOf(canvas);
    const now = Date.now() / 1000;
    const rate = description.bitrate;
    const box = { left: 44, top: 8, right: width - 4, bottom: height - 18 };
    const points = loads.since(now - 300, now).map(({ t, v }) => ({ t, v: v / rate * 100 }));
    const high = [1, 2, 5, 10, 20, 50].find((limit) => rangeOf(points).high <= limit) ?? 100;
    context.font = '10.5px system-ui, sans-serif';
    context.fillStyle = color('--soft');
    context.strokeStyle = color('--line');
    context.textBaseline = 'middle';
    for (const share of [0, high / 2, high]) {
        const y = box.bottom - share / high * (box.bottom - box.top);
        context.beginPath();
        context.moveTo(box.left, y);
        context.lineTo(box.right, y);
        context.stroke();
        context.textAlign = 'right';
        context.fillText(`${share} %`, box.left - 6, y);
    }
    drawTimes(context, box, 300, height);
    drawSteps(context, points, box, { from: now - 300, to: now, low: 0, high }, true);
    canvas.setAttribute('aria-label', `Bus load in the last five minutes, now ${loadText()}`);
}

const PORT_NAMES = {
    received: 'Frames in', sent: 'Frames out', refused: 'Refused', dropped: 'Not CANopen', overruns: 'Overruns',
    errorFrames: 'Error frames', busOff: 'Bus-off', disconnects: 'Times down',
};

/** "now" for what was heard a moment ago, so that the table keeps still. */
function ago(microseconds) {
    return microseconds < 2.5e6 ? 'now' : microseconds < 12e7 ? `${Math.round(microseconds / 1e6)} s ago` : `${Math.round(microseconds / 6e7)} min ago`;
}

function showNetwork() {
    if ($('view-network').hidden || network === null)
        return;
    $('nodes').replaceChildren(...network.nodes.map((node) => {
        const isOwn = node.node === description.node;
        const badge = make('span');
        showState(badge, isOwn ? network.state : node.state);
        if (node.silent && !isOwn) {
            setText(badge, 'silent');
            badge.className = 'badge bad';
        }
        return make('tr', { 'data-node': node.node },
            make('td', {}, isOwn ? `${node.node} (this node)` : String(node.node)),
            make('td', {}, badge),
            make('td', { class: 'number' }, node.period > 0 ? duration(node.period) : '–'),
            make('td', { class: 'number' }, String(node.missed)),
            make('td', { class: 'number wide' }, String(node.boots)),
            make('td', { class: 'number wide' }, String(node.frames)),
            make('td', {}, ago(network.now - node.last)),
            make('td', { class: 'wide' }, node.emergency));
    }));
    $('nodes-empty').hidden = network.nodes.length > 0;
    $('port').replaceChildren(...Object.entries(PORT_NAMES).map(([name, label]) =>
        make('div', {}, make('dt', {}, label), make('dd', {}, String(network.port[name])))));
}

function transmission(pdo) {
    if (pdo.type >= 254)
        return 'event-driven';
    if (pdo.type === 0)
        return 'with SYNC, when changed';
    return pdo.type <= 240 ? (pdo.type === 1 ? 'with every SYNC' : `with every ${pdo.type}th SYNC`) : `type ${pdo.type}`;
}

const pdoViews = new Map();  // by name: { element, facts, picture }

function showTiming() {
    if ($('view-timing').hidden || network === null)
        return;
    if (network.pdos.length === 0)
        setText($('timing-note'), 'This node has no PDOs.');
    const transmitFirst = [...network.pdos].sort((one, other) => Number(other.transmit) - Number(one.transmit));
    for (const pdo of transmitFirst) {
        const name = `${pdo.transmit ? 'TPDO' : 'RPDO'} ${pdo.number}`;
        if (!pdoViews.has(name)) {
            const view = { facts: make('div', { class: 'facts' }), setup: make('span', { class: 'quiet' }), picture: make('div') };
            $('pdos').append(make('div', { class: 'block pdo', role: 'group', 'aria-label': name },
                make('div', { class: 'bar' }, make('h2', {}, name), view.setup), view.picture, view.facts));
            pdoViews.set(name, view);
        }
        showPDO(pdoViews.get(name), pdo, name);
    }
}

function showPDO(view, pdo, name) {
    const times = [pdo.inhibit > 0 ? `inhibit time ${pdo.inhibit} ms` : null,
        pdo.event > 0 ? `${pdo.transmit ? 'event timer' : 'expected within'} ${pdo.event} ms` : null];
    setText(view.setup, [pdo.valid ? hex(pdo.cobid, 3) : 'switched off', transmission(pdo), ...times]
        .filter((text) => text !== null).join(' · '));
    const objectsOf = pdo.mapping.map(([key, bits]) => objects.get(key)?.name ?? `${addressOf(key)}, ${bits} bits`);
    const facts = [['carries', objectsOf.join(', ') || 'nothing']];
    if (pdo.series !== undefined) {
        const { count, mean, shortest, longest, jitter, worst } = pdo.series;
        facts.push(['frames', count]);
        if (count > 1)
            facts.push(['period', `${duration(mean)} (${duration(shortest)} to ${duration(longest)})`]);
        if (count > 2)
            facts.push(['jitter', `${duration(jitter)}, at most ${duration(worst)}`]);
    }
    view.facts.replaceChildren(...facts.map(([label, text]) => make('span', {}, `${label} `, make('b', {}, String(text)))));
    view.picture.replaceChildren(drawPeriods(pdo, name, Math.max(240, view.picture.clientWidth)));
}

/** The latest periods as dots from left to right, with the times that bound them. */
function drawPeriods(pdo, name, width) {
    const height = 150;
    const box = { left: 46, top: 10, right: width - 6, bottom: height - 8 };
    const periods = (pdo.periods ?? []).map((microseconds) => microseconds / 1000);
    const limits = [{ label: 'inhibit', ms: pdo.inhibit }, { label: pdo.transmit ? 'event' : 'expected', ms: pdo.event }]
        .filter(({ ms }) => ms > 0);
    const longest = Math.max(10, ...periods, ...limits.map(({ ms }) => ms)) * 1.12;
    const y = (ms) => box.bottom - ms / longest * (box.bottom - box.top);
    const svg = makeSVG('svg', {
        viewBox: `0 0 ${width} ${height}`, role: 'img',
        'aria-label': `Periods of ${name}: ${periods.length === 0 ? 'none yet' : `${periods.length}, the last ${periods[periods.length - 1].toFixed(1)} ms`}`,
    });
    for (const share of periods.length + limits.length === 0 ? [] : [0, 0.5, 1]) {
        const ms = longest / 1.12 * share;
        svg.append(makeSVG('line', { class: 'axis', x1: box.left, x2: box.right, y1: y(ms), y2: y(ms) }),
            makeSVG('text', { x: box.left - 6, y: y(ms) + 3.5, 'text-anchor': 'end' }, ms === 0 ? '0' : `${ms >= 10 ? ms.toFixed(0) : ms.toFixed(1)} ms`));
    }
    for (const { ms } of limits)
        svg.append(makeSVG('line', { class: 'limit', x1: box.left, x2: box.right, y1: y(ms), y2: y(ms) }));
    periods.forEach((ms, i) => {
        const x = box.right - (periods.length - 1 - i + 0.5) / 120 * (box.right - box.left);
        svg.append(makeSVG('circle', { class: 'period', cx: x.toFixed(1), cy: y(ms).toFixed(1), r: 2 }));
    });
    for (const { label, ms } of limits)
        svg.append(makeSVG('text', { class: 'limit-name', x: box.right, y: y(ms) - 5, 'text-anchor': 'end' }, `${label} ${ms} ms`));
    if (periods.length === 0) {
        const reason = network.state === 'OPERATIONAL' ? '' : `: the node is ${network.state}`;
        svg.append(makeSVG('text', { x: (box.left + box.right) / 2, y: height / 2 + 18, 'text-anchor': 'middle' }, `no frames yet${reason}`));
    }
    return svg;
}

// ---- tabs

const tabs = [...document.querySelectorAll('[role="tab"]')];

function selectTab(tab) {
    for (const one of tabs) {
        const isSelected = one === tab;
        one.setAttribute('aria-selected', String(isSelected));
        one.tabIndex = isSelected ? 0 : -1;
        $(one.getAttribute('aria-controls')).hidden = !isSelected;
    }
    history.replaceState(null, '', `#${tab.id.replace('tab-', '')}`);
    showAll();
}

/** The view that the address names, for who changes it or goes back; the first one when it names none. */
function selectTabOfAddress() {
    selectTab(tabs.find((tab) => `#${tab.id.replace('tab-', '')}` === location.hash) ?? tabs[0]);
}

function showAll() {
    if (description === null)
        return;
    framesChanged = true;
    drawValues();
    askForObjects().catch(() => {});
    showFrames();
    showLoad();
    showNetwork();
    showTiming();
}

function moveBetweenTabs(event) {
    const at = tabs.indexOf(document.activeElement);
    const to = { ArrowRight: at + 1, ArrowLeft: at - 1, Home: 0, End: tabs.length - 1 }[event.key];
    if (to === undefined)
        return;
    event.preventDefault();
    const tab = tabs[(to + tabs.length) % tabs.length];
    tab.focus();
    selectTab(tab);
}

// ---- the connection

function showConnection(state, text) {
    $('connection').className = `link ${state}`;
    setText($('connection'), text);
}

let start = null;  // of the panel: another one has another token

function connect() {
    const events = new EventSource('/events');
    events.addEventListener('open', () => showConnection('live', 'live'));
    events.addEventListener('hello', (event) => {
        const { started } = JSON.parse(event.data);
        if (start !== null && start !== started)
            location.reload();
        start = started;
    });
    events.addEventListener('values', (event) => takeValues(JSON.parse(event.data)));
    events.addEventListener('frames', (event) => takeFrames(JSON.parse(event.data)));
    events.addEventListener('network', (event) => takeNetwork(JSON.parse(event.data)));
    events.addEventListener('error', () => {
        showConnection('lost', 'not connected, trying again');
        if (events.readyState === EventSource.CLOSED)
            setTimeout(connect, 3000);  // refused, for instance because too many pages are open
    });
}

async function begin() {
    description = await (await fetch('/api/panel')).json();
    for (const object of description.objects) {
        object.text = `0x${object.key.slice(0, 4)}/${parseInt(object.key.slice(4), 16)} ${object.object} ${object.name} ` +
            `${object.type} ${object.access}`;
        object.text = object.text.toLowerCase();
        objects.set(object.key, object);
    }
    setText($('node'), `node ${description.node} on ${description.port}`);
    setText($('bitrate'), `at ${description.bitrate / 1000} kbit/s`);
    document.title = `Node ${description.node} · TAVO panel`;
    buildCards();
    search();
    connect();
    setInterval(drawValues, 500);
    setInterval(showFrames, 200);
    setInterval(() => askForObjects().catch(() => {}), 1000);
    showAll();
}

for (const tab of tabs)
    tab.addEventListener('click', () => selectTab(tab));
document.querySelector('[role="tablist"]').addEventListener('keydown', moveBetweenTabs);
$('search').addEventListener('input', search);
$('more').addEventListener('click', showMoreObjects);
$('filter').addEventListener('input', () => {
    framesChanged = true;
    showFrames();
});
$('pause').addEventListener('click', pause);
$('clear').addEventListener('click', clearFrames);
$('span').addEventListener('change', drawValues);
window.addEventListener('resize', showAll);
matchMedia('(prefers-color-scheme: dark)').addEventListener('change', showAll);
window.addEventListener('hashchange', selectTabOfAddress);
selectTabOfAddress();
begin().catch(() => {
    $('notice').hidden = false;
    setText($('notice'), 'The panel does not answer. Is it still running?');
    showConnection('lost', 'not connected');
});
