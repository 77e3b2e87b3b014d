'use strict';

/**
 * Starts the program tavo-panel for one test and stops it again.
 *
 * The program under test is named by the environment variable TAVO_PANEL. Each one runs in a working
 * directory of its own and listens on a port that the kernel picked, so that tests can run side by side.
 */

const assert = require('node:assert/strict');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { spawn } = require('node:child_process');
const { once } = require('node:events');
const { setTimeout: sleep } = require('node:timers/promises');
const { Master } = require('./master.js');

// Nothing waits this long when it works: longer than the worst pause of a loaded machine.
const PATIENCE_MS = 20000;
// Between two questions: seldom enough not to disturb what is asked about.
const PAUSE_MS = 100;

class Panel {
    constructor(process, directory) {
        this.process = process;
        this.directory = directory;
        this.output = '';
        process.stdout.on('data', (more) => {
            this.output += more;
        });
    }

    static async start(...options) {
        const directory = fs.mkdtempSync(path.join(os.tmpdir(), 'tavo-'));
        const process_ = spawn(process.env.TAVO_PANEL, ['--listen', '127.0.0.1:0', ...options],
            { cwd: directory, stdio: ['ignore', 'pipe', 'inherit'] });
        const panel = new Panel(process_, directory);
        panel.ended = once(process_, 'exit');
        try {
            panel.port = await panel.readPort();
        }
        catch (error) {
            await panel.stop();
            throw error;
        }
        return panel;
    }

    readPort() {
        return new Promise((resolve, reject) => {
            const timer = setTimeout(() => reject(new Error(`no port in '${this.output}'`)), PATIENCE_MS);
            this.ended.then(([status]) => reject(new Error(`ended with ${status}: '${this.output}'`)));
            this.process.stdout.on('data', () => {
                const found = /^serving \S+ on port (\d+)$/m.exec(this.output);
                if (found) {
                    clearTimeout(timer);
                    resolve(Number(found[1]));
                }
            });
        });
    }

    countLines(line) {
        return this.output.split('\n').filter((one) => one === line).length;
    }

    file(name) {
        return path.join(this.directory, name);
    }

    /** Asks the program to end. Resolves to its exit status; afterwards nothing of it is left. */
    async stop() {
        const killer = setTimeout(() => this.process.kill('SIGKILL'), PATIENCE_MS);
        this.process.kill('SIGTERM');
        const [status] = await this.ended;
        clearTimeout(killer);
        fs.rmSync(this.directory, { recursive: true });
        return status;
    }
}

/** Asks again and again until the answer is a true one. */
async function waitUntil(condition, what) {
    const deadline = Date.now() + PATIENCE_MS;
    while (!await condition()) {
        assert.ok(Date.now() < deadline, `${what}: not within ${PATIENCE_MS} ms`);
        await sleep(PAUSE_MS);
    }
}

/**
 * A program and a master on its bus, for the length of one test.
 * @param {object} test - what node's test runner hands to a test.
 * @param {string[]} options - command line options of the program.
 */
async function startNode(test, ...options) {
    const panel = await Panel.start(...options);
    let master = null;
    test.after(async () => {
        await master?.detach();
        assert.equal(await panel.stop(), 0, 'exit status');
    });
    master = await Master.attach(panel.port);
    return { panel, master };
}

module.exports = { startNode, waitUntil };
