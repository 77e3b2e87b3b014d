'use strict';

/*
 * The files that a running program writes, read by an independent EDS reader, against the live node.
 *
 * | covered                                                              | kind       |
 * |----------------------------------------------------------------------|------------|
 * | tavo_default.dcf: index, sub-index, type, access, default of all     | functional |
 * | every object that the node serves is in the file, and no other but   | functional |
 * |   the PDOs, which are configured when the file is written already    |            |
 * | device information against the identity object                       | functional |
 * | tavo.dcf after "save", application objects included                  | functional |
 * | the files as they are: read, or refused for their negative limits    | robustness |
 */

const assert = require('node:assert/strict');
const { test } = require('node:test');
const { Eds } = require('canopen');
const { AccessType, FIRST_APPLICATION_INDEX, ObjectType, SIZES, readDescription } =
    require('./description.js');
const { DataType, SdoCode } = require('./master.js');
const { startNode } = require('./panel.js');

const HEARTBEAT_MS = 700;
const SAVE = 0x65766173;
const VENDOR = 0x3C7;

/** Numbers of the demo machine that move while they are compared. */
const MOVING = new Set(['2000sub1', '2000sub3', '2000sub4', '2000sub6']);

/** Communication and mapping parameters of the demo machine's two RPDOs and two TPDOs. */
const PDO_PARAMETERS = [0x1400, 0x1401, 0x1600, 0x1601, 0x1800, 0x1801, 0x1A00, 0x1A01];

const READABLE_AND_WRITABLE = new Set([AccessType.READ_WRITE,
    'rww']); // mapped into an RPDO; the package has no name for it

/**
 * What the live node holds instead of the default in tavo_default.dcf, what it refuses although it says "rw", and
 * what it takes although it says "ro".
 */
const FRESH_NODE = {
    values: {
        '1017': HEARTBEAT_MS, // configured after the node has described itself
    },
    refusals: new Set([
        '1003sub0', // the error history is cleared by the node alone
        '1010sub1', '1010sub2', // take nothing but the signature "save"
        '1010sub3', // application parameters are not stored
        '1011sub1', '1011sub2', '1011sub3', // restoring is not offered
        '1400sub1', '1401sub1', '1800sub1', '1801sub1', // a valid PDO is made invalid before it gets a COB-ID
        '1600sub0', '1600sub1', '1601sub0', '1601sub1', // mappings are fixed
        '1a00sub0', '1a00sub1', '1a00sub2', '1a00sub3', '1a00sub4',
        '1a01sub0', '1a01sub1', '1a01sub2',
    ]),
    acceptances: new Set(['1400sub0', '1401sub0', '1800sub0', '1801sub0']),
};

/** After a "save" the sub-index holds the signature, and takes it again. */
const SAVED_NODE = {
    ...FRESH_NODE,
    values: { ...FRESH_NODE.values, '1010sub1': SAVE },
    refusals: new Set([...FRESH_NODE.refusals].filter((key) => key !== '1010sub1')),
};

/** The type of a value of an odd width is not one that the package knows: its bytes are compared by hand. */
const MANUFACTURER_TYPE_SIZES = { 0x40: 2 };

function encodeDefault({ dataType, defaultValue, raw }) {
    const size = MANUFACTURER_TYPE_SIZES[dataType];
    if (!size)
        return raw;
    const bytes = Buffer.alloc(size);
    bytes.writeUIntLE(Number(defaultValue), 0, size);
    return bytes;
}

function encodeExpected(entry, { values }) {
    const bytes = Buffer.from(encodeDefault(entry));
    if (entry.key in values)
        bytes.writeUIntLE(values[entry.key], 0, bytes.length);
    return bytes;
}

async function assertTypeAndValue(master, entry, node) {
    const live = await master.upload(entry.index, entry.subIndex);
    if (entry.dataType !== DataType.VISIBLE_STRING)
        assert.equal(live.length, SIZES[entry.dataType] ?? MANUFACTURER_TYPE_SIZES[entry.dataType]);
    if (!MOVING.has(entry.key))
        assert.deepEqual(live, encodeExpected(entry, node));
}

/**
 * Writes what the object holds already: accepted or not, this changes nothing. Whether the node refuses is seen
 * on the bus: it confirms the last segment of a text before it writes, so the package takes the abort behind it
 * for none of its own.
 */
async function isWritable(master, entry) {
    const live = await master.upload(entry.index, entry.subIndex);
    const aborts = master.aborts.length;
    await master.download(entry.index, entry.subIndex, live)
        .catch(({ name }) => assert.equal(name, 'SdoError'));
    await master.upload(entry.index, entry.subIndex);
    return master.aborts.length === aborts;
}

async function assertAccess(master, entry, { refusals, acceptances }) {
    const mayBeWritten = READABLE_AND_WRITABLE.has(entry.accessType);
    assert.ok(mayBeWritten || [AccessType.READ_ONLY, AccessType.CONSTANT].includes(entry.accessType));
    const exceptions = mayBeWritten ? refusals : acceptances;
    assert.equal(await isWritable(master, entry), mayBeWritten !== exceptions.has(entry.key));
}

/** Asks the node for every index of the range; those that exist. */
async function scan(master, first, last) {
    const found = [];
    for (let index = first; index <= last; ++index) {
        try {
            await master.upload(index);
            found.push(index);
        }
        catch (error) {
            assert.equal(error.code, SdoCode.OBJECT_UNDEFINED, `0x${index.toString(16)}`);
        }
    }
    return found;
}

async function compareAll(t, master, entries, node) {
    for (const entry of entries) {
        await t.test(`${entry.key} ${entry.parameterName}`, async () => {
            await assertTypeAndValue(master, entry, node);
            await assertAccess(master, entry, node);
        });
    }
}

const OPTIONS = ['--heartbeat', String(HEARTBEAT_MS)];

test('tavo_default.dcf describes the live node [DCF: tavo_default.dcf against the live node] [departure: access-in-the-file]', async (t) => {
    const { panel, master } = await startNode(t, ...OPTIONS);
    const { entries } = readDescription(panel.file('tavo_default.dcf'));
    assert.equal(entries.length, 31);
    await compareAll(t, master, entries, FRESH_NODE);
});

test('tavo_default.dcf holds every communication object but the PDOs [DCF: tavo_default.dcf against the live node]', async (t) => {
    const { panel, master } = await startNode(t, ...OPTIONS);
    const { entries } = readDescription(panel.file('tavo_default.dcf'));
    const described = new Set(entries.map(({ index }) => index));
    const expected = [...described, ...PDO_PARAMETERS].sort((a, b) => a - b);
    assert.deepEqual(await scan(master, 0x1000, 0x1FFF), expected);
});

test('sub-index 0 is the last sub-index of each array and record [DCF: lists and sub-indexes]', async (t) => {
    const { panel, master } = await startNode(t, ...OPTIONS);
    const { eds } = readDescription(panel.file('tavo_default.dcf'));
    const structured = [...eds.values()].filter(({ objectType }) => objectType !== ObjectType.VAR);
    assert.deepEqual(structured.map(({ index }) => index).sort((a, b) => a - b),
        [0x1003, 0x1010, 0x1011, 0x1016, 0x1018, 0x1200]);
    for (const { index, subNumber } of structured) {
        const last = await master.upload(index, 0, DataType.UNSIGNED8);
        assert.equal(subNumber, last + 1);
        await master.upload(index, last);
        await assert.rejects(master.upload(index, last + 1), { code: SdoCode.OBJECT_UNDEFINED });
    }
});

test('the device information is that of the identity object [DCF: device information]', async (t) => {
    const { panel, master } = await startNode(t, ...OPTIONS);
    const { eds } = readDescription(panel.file('tavo_default.dcf'));
    const identity = (subIndex) => master.upload(0x1018, subIndex, DataType.UNSIGNED32);
    assert.equal(Number(eds.vendorNumber), await identity(1));
    assert.equal(Number(eds.productNumber), await identity(2));
    assert.equal(Number(eds.revisionNumber), await identity(3));
    assert.deepEqual(eds.baudRates, [125000, 250000, 500000, 1000000]);
    // The package does not say in which zone it takes the time to be.
    assert.ok(Math.abs(Date.now() - eds.creationDate) < 26 * 3600 * 1000, String(eds.creationDate));
});

test('tavo.dcf describes the live node with its application [DCF: tavo.dcf after "save" against the live node]', async (t) => {
    const { panel, master } = await startNode(t, ...OPTIONS);
    await master.download(0x1010, 1, SAVE, DataType.UNSIGNED32);
    const { entries } = readDescription(panel.file('tavo.dcf'));
    assert.equal(entries.filter(({ index }) => index >= FIRST_APPLICATION_INDEX).length, 8);
    await compareAll(t, master, entries, SAVED_NODE);
});

test('tavo_default.dcf is read as it is [DCF: the file as it is, unmodified]', async (t) => {
    const { panel } = await startNode(t, ...OPTIONS);
    assert.equal(Number(Eds.fromFile(panel.file('tavo_default.dcf')).vendorNumber), VENDOR);
});

test('tavo.dcf is refused for its negative limits, and for these only [departure: hexadecimal-limits]', async (t) => {
    const { panel, master } = await startNode(t, ...OPTIONS);
    await master.download(0x1010, 1, SAVE, DataType.UNSIGNED32);
    assert.throws(() => Eds.fromFile(panel.file('tavo.dcf')), /highLimit/);
    assert.equal(Number(readDescription(panel.file('tavo.dcf')).eds.vendorNumber), VENDOR);
});
