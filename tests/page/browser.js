'use strict';

/** Debian's Chromium without a window, driven by playwright-core. PAGE_BROWSER names another one. */

const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { chromium } = require('playwright-core');
const { PATIENCE_MS } = require('./panel.js');

const DESKTOP = { width: 1280, height: 900 };
const PHONE = { width: 390, height: 844 };

class Browser {
    static async start() {
        const browser = new Browser();
        browser.folder = fs.mkdtempSync(path.join(os.tmpdir(), 'tavo-browser-'));
        browser.program = await chromium.launch({
            executablePath: process.env.PAGE_BROWSER ?? '/usr/bin/chromium',
            args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
                '--disable-background-networking', '--disable-component-update', '--disable-sync'],
            env: { ...process.env, HOME: browser.folder },
        });
        return browser;
    }

    /** Opens the page. What it complains about is gathered in page.complaints. */
    async open(url, { size = DESKTOP, scheme = 'light', scale = size === PHONE ? 2 : 1 } = {}) {
        const context = await this.program.newContext({ viewport: size, colorScheme: scheme, deviceScaleFactor: scale });
        const page = await context.newPage();
        page.setDefaultTimeout(PATIENCE_MS);
        page.complaints = [];
        page.on('console', (message) => {
            if (['error', 'warning'].includes(message.type()))
                page.complaints.push(message.text());
        });
        page.on('pageerror', (error) => page.complaints.push(String(error)));
        await page.goto(url);
        await page.getByText('live', { exact: true }).waitFor();
        return page;
    }

    async stop() {
        await this.program.close();
        fs.rmSync(this.folder, { recursive: true, force: true });
    }
}

module.exports = { Browser, DESKTOP, PHONE };
