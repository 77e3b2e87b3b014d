'use strict';

/**
 * Starts the program tavo-panel with its page for one test, and stops it again. TAVO_PANEL names the program. Each one
 * runs in a folder of its own and takes ports that the kernel picks, so that tests run side by side.
 */

const assert = require('node:assert/strict');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { spawn } = require('node:child_process');
const { once } = require('node:events');
const { SocketcandBus } = require('../interop/js/socketcand.js');

// Nothing waits this long when it works.
const PATIENCE_MS = 20000;

class Panel {
    constructor(child, directory) {
        this.child = child;
        this.directory = directory;
        this.output = '';
        this.ended = once(child, 'exit');
        child.stdout.on('data', (more) => {
            this.output += more;
        });
    }

    static async start(...options) {
        const directory = fs.mkdtempSync(path.join(os.tmpdir(), 'tavo-'));
        const page = options.includes('--http') ? [] : ['--http', '127.0.0.1:0'];
        const child = spawn(process.env.TAVO_PANEL, ['--listen', '127.0.0.1:0', ...page, ...options],
            { cwd: directory, stdio: ['ignore', 'pipe', 'inherit'] });
        const panel = new Panel(child, directory);
        try {
            panel.url = (await panel.waitForLine(/^showing the node on (\S+)$/m))[1];
            panel.port = Number((await panel.waitForLine(/^serving \S+ on port (\d+)$/m))[1]);
        }
        catch (error) {
            await panel.stop();
            throw error;
        }
        return panel;
    }

    waitForLine(pattern) {
        return new Promise((resolve, reject) => {
            const timer = setTimeout(() => reject(new Error(`no ${pattern} in '${this.output}'`)), PATIENCE_MS);
            this.ended.then(([status]) => reject(new Error(`ended with ${status}: '${this.output}'`)));
            const look = () => {
                const found = pattern.exec(this.output);
                if (found) {
                    clearTimeout(timer);
                    resolve(found);
                }
            };
            this.child.stdout.on('data', look);
            look();
        });
    }

    /** One more participant on the node's bus. */
    attach(name = 'bus0') {
        return SocketcandBus.open(this.port, name);
    }

    async stop() {
        const killer = setTimeout(() => this.child.kill('SIGKILL'), PATIENCE_MS);
        this.child.kill('SIGTERM');
        const [status] = await this.ended;
        clearTimeout(killer);
        fs.rmSync(this.directory, { recursive: true });
        assert.equal(status, 0, 'exit status');
    }
}

module.exports = { PATIENCE_MS, Panel };
