'use strict';

/*
 * Network management of a running program by an independent master.
 *
 * | covered                                                        | kind       |
 * |----------------------------------------------------------------|------------|
 * | boot-up and heartbeat seen by the package's NMT consumer       | functional |
 * | start, stop, enter pre-operational, reset node, communication  | functional |
 * | a heartbeat that stops is missed                               | functional |
 */

const assert = require('node:assert/strict');
const { test } = require('node:test');
const { DataType, PANEL_ID } = require('./master.js');
const { startNode } = require('./panel.js');

const BOOT_UP = 0x00;
const STOPPED = 0x04;
const OPERATIONAL = 0x05;
const PRE_OPERATIONAL = 0x7F;
const PATIENCE = { timeout: 60000 };

test('boot-up, then the heartbeat of a pre-operational node [NMT: boot-up message]', PATIENCE, async (t) => {
    const { master } = await startNode(t, '--heartbeat', '50');
    await master.waitFor(BOOT_UP);
    await master.waitFor(PRE_OPERATIONAL);
    assert.equal(await master.nmt.getNodeState(PANEL_ID), PRE_OPERATIONAL);
});

test('commands move the node through its states [NMT: commands lead from state to state]', PATIENCE, async (t) => {
    const { master } = await startNode(t, '--heartbeat', '50');
    await master.waitFor(PRE_OPERATIONAL);
    master.nmt.startNode(PANEL_ID);
    await master.waitFor(OPERATIONAL);
    master.nmt.stopNode(PANEL_ID);
    await master.waitFor(STOPPED);
    master.nmt.startNode(PANEL_ID);
    await master.waitFor(OPERATIONAL);
    master.nmt.enterPreOperational(PANEL_ID);
    await master.waitFor(PRE_OPERATIONAL);
});

for (const [name, command] of [['node', 'resetNode'], ['communication', 'resetCommunication']]) {
    test(`reset ${name} makes it boot up again [NMT: commands lead from state to state]`, PATIENCE, async (t) => {
        const { master } = await startNode(t, '--heartbeat', '50');
        await master.waitFor(PRE_OPERATIONAL);
        master.nmt.startNode(PANEL_ID);
        await master.waitFor(OPERATIONAL);
        master.nmt[command](PANEL_ID);
        await master.waitFor(BOOT_UP);
        await master.waitFor(PRE_OPERATIONAL);
    });
}

test('a heartbeat that is switched off is missed, and found again [heartbeat: producer: 0x1017 changed at run time]', PATIENCE, async (t) => {
    const { master } = await startNode(t, '--heartbeat', '50');
    await master.waitFor(PRE_OPERATIONAL);
    await master.download(0x1017, 0, 0, DataType.UNSIGNED16);
    await master.waitFor('timeout');
    await master.download(0x1017, 0, 50, DataType.UNSIGNED16);
    await master.waitFor(PRE_OPERATIONAL);
});
