'use strict';

/*
 * A reporter for node's test runner: what the tests showed of CiA 301, a line of JSON for each that says so in brackets
 * behind its name, as in "uploads [SDO server: expedited upload]". Its cases are the tests without tests of their own below it,
 * or the number that such a one gave with countCases().
 */

const TAG = /\[([^:\]]+): ([^\]]+)\]/g;
const COUNT = /^cases: (\d+)$/;

/** For a test that walks over a table: how many of its rows it has looked at. */
function countCases(test, count) {
    test.diagnostic(`cases: ${count}`);
}

/** What a tree of tests came to. */
function judge(test) {
    const below = test.below.map(judge);
    const cases = below.reduce((sum, one) => sum + one.cases, 0);
    return { cases: test.cases ?? (cases || 1), passed: test.passed && below.every((one) => one.passed) };
}

function* records(test) {
    for (const [, service, name] of test.name.matchAll(TAG)) {
        const { cases, passed } = judge(test);
        yield { service, name, client: 'canopen', cases, result: passed ? 'passed' : 'failed' };
    }
    for (const one of test.below)
        yield* records(one);
}

/** Events come when a test has ended, those of its own tests before. */
async function* report(events) {
    const open = [];
    for await (const { type, data } of events) {
        const { nesting, name } = data ?? {};
        if (type === 'test:pass' || type === 'test:fail') {
            const below = open[nesting + 1] ?? [];
            open[nesting + 1] = [];
            open[nesting] = [...(open[nesting] ?? []), { name, passed: type === 'test:pass', below }];
        }
        else if (type === 'test:diagnostic' && COUNT.test(data.message)) {
            open[nesting].at(-1).cases = Number(COUNT.exec(data.message)[1]);
        }
    }
    for (const test of open[0] ?? []) {
        for (const record of records(test))
            yield `${JSON.stringify(record)}\n`;
    }
}

module.exports = report;
module.exports.countCases = countCases;
