'use strict';

/*
 * PDOs and SYNC of an independent master, with objects of its own mapped to those of a running program.
 *
 * | covered                                                                | kind       |
 * |------------------------------------------------------------------------|------------|
 * | the master's SYNC lets the node's TPDO out; its values are those of SDO | functional |
 * | the master's TPDO reaches the node: event-driven, and with SYNC         | functional |
 * | neither outside OPERATIONAL                                             | robustness |
 * | the master's emergency consumer hears nothing                           | functional |
 */

const assert = require('node:assert/strict');
const { once } = require('node:events');
const { test } = require('node:test');
const { DataType, PANEL_ID } = require('./master.js');
const { startNode, waitUntil } = require('./panel.js');
const { SocketcandBus } = require('./socketcand.js');

const OPERATIONAL = 0x05;
const PRE_OPERATIONAL = 0x7F;
const STOPPED = 0x04;
const SYNC = 0x080;
const TPDO_2 = 0x280 + PANEL_ID;
const EMERGENCY = 0x080 + PANEL_ID;
const RPDO_1 = 0x200 + PANEL_ID;
const RPDO_2 = 0x300 + PANEL_ID;
const PATIENCE = { timeout: 60000 };

/** The master's own objects: what the node's PDOs are mapped to, and the frames that it sends. */
function mapObjects({ device }) {
    const add = (index, dataType) => device.eds.addEntry(index, { parameterName: `Mapped ${index}`, dataType });
    const mapped = {
        pieces: add(0x2200, DataType.UNSIGNED32), temperature: add(0x2201, DataType.INTEGER16),
        setPoint: add(0x2202, DataType.INTEGER16), run: add(0x2203, DataType.UNSIGNED8),
    };
    device.eds.addReceivePdo({ cobId: TPDO_2, dataObjects: [mapped.pieces, mapped.temperature] });
    device.eds.addTransmitPdo({ cobId: RPDO_1, transmissionType: 255, dataObjects: [mapped.setPoint] });
    device.eds.addTransmitPdo({ cobId: RPDO_2, transmissionType: 255, dataObjects: [mapped.run] });
    device.eds.setSyncCobId(SYNC);
    device.eds.setSyncGenerationEnable(true);
    return mapped;
}

/** A node, and a master that is ready for its PDOs. */
async function startMapped(t) {
    const { panel, master } = await startNode(t, '--heartbeat', '50');
    await master.waitFor(PRE_OPERATIONAL);
    const mapped = mapObjects(master);
    // Its own state, without which it sends and receives no PDO.
    master.nmt.startNode();
    return { panel, master, mapped };
}

async function startOperational(t) {
    const { panel, master, mapped } = await startMapped(t);
    master.nmt.startNode(PANEL_ID);
    await master.waitFor(OPERATIONAL);
    return { panel, master, mapped };
}

const setPoint = (master) => master.upload(0x2000, 2, DataType.INTEGER16);
const isRunning = (master) => master.upload(0x2000, 5, DataType.BOOLEAN);

test('SYNC of the master lets the TPDO out [SYNC: of a master that produces it] [PDO: TPDO, as a master maps it]',
    PATIENCE, async (t) => {
        const { master, mapped } = await startOperational(t);
        await waitUntil(async () => {
            const received = once(master.device.pdo, 'pdo');
            master.device.sync.write();
            const [{ cobId }] = await received;
            assert.equal(cobId, TPDO_2);
            return mapped.pieces.value === await master.upload(0x2000, 3, DataType.UNSIGNED32)
                && mapped.temperature.value === await master.upload(0x2000, 1, DataType.INTEGER16);
        }, 'a TPDO between two steps of the machine');
    });

test('a TPDO of the master sets a value [PDO: RPDO, event-driven]', PATIENCE, async (t) => {
    const { master, mapped } = await startOperational(t);
    for (const value of [0, 700, 1200]) {
        await t.test(String(value), async () => {
            mapped.setPoint.value = value;
            master.device.pdo.write(RPDO_1);
            assert.equal(await setPoint(master), value);
        });
    }
});

test('a TPDO of the master waits for its SYNC [PDO: RPDO, synchronous]', PATIENCE, async (t) => {
    const { master, mapped } = await startOperational(t);
    mapped.run.value = 0;
    master.device.pdo.write(RPDO_2);
    assert.equal(await isRunning(master), true);
    master.device.sync.write();
    assert.equal(await isRunning(master), false);
});

test('SYNC with a counter [departure: sync-length]', PATIENCE, async (t) => {
    const { master, mapped } = await startOperational(t);
    mapped.run.value = 0;
    master.device.pdo.write(RPDO_2);
    master.device.sync.write(7);
    assert.equal(await isRunning(master), false);
});

test('nothing of it outside OPERATIONAL [NMT: services that a state does not have]', PATIENCE, async (t) => {
    const { master, mapped } = await startMapped(t);
    mapped.setPoint.value = 700;
    const send = () => {
        master.device.pdo.write(RPDO_1);
        master.device.sync.write();
    };
    await t.test('PRE-OPERATIONAL', async () => {
        send();
        assert.equal(await setPoint(master), 600);
    });
    await t.test('STOPPED', async () => {
        master.nmt.stopNode(PANEL_ID);
        await master.waitFor(STOPPED);
        send();
        master.nmt.enterPreOperational(PANEL_ID);
        await master.waitFor(PRE_OPERATIONAL);
        assert.equal(await setPoint(master), 600);
    });
});

test('the emergency consumer of the master hears nothing [departure: no-emergency]', PATIENCE, async (t) => {
    const { panel, master } = await startOperational(t);
    master.device.eds.addEmcyConsumer(EMERGENCY);
    const heard = [];
    master.device.emcy.on('emergency', ({ em }) => heard.push(em.code));
    for (const data of [[0x20, 3, 0], [0x20], [0xFF, 0xFF]]) {
        master.bus.send({ id: RPDO_1, data: Buffer.from(data) });
        await setPoint(master);
    }
    assert.deepEqual(heard, []);
    // It would hear one: another participant plays the node's part.
    const other = await SocketcandBus.open(panel.port, 'bus0');
    other.send({ id: EMERGENCY, data: Buffer.from([0x30, 0x81, 0x11, 0, 0, 0, 0, 0]) });
    await waitUntil(() => heard.length > 0, 'an emergency');
    await other.close();
    assert.deepEqual(heard, [0x8130]);
});
