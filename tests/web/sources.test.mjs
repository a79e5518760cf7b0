// The sources themselves: their types, and that what is vendored is what its README says.
import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';

const here = fileURLToPath(new URL('.', import.meta.url));
const web = fileURLToPath(new URL('../../web/', import.meta.url));
const filesOf = (folder) => fs.readdirSync(folder, { withFileTypes: true }).flatMap((entry) => (entry.isDirectory() ? filesOf(`${folder}${entry.name}/`) : [`${folder}${entry.name}`]));

test('the types are right', () => {
    const { status, stdout } = spawnSync(process.execPath, ['node_modules/typescript/bin/tsc', '-p', '.'], { cwd: here, encoding: 'utf8' });
    assert.equal(status, 0, stdout);
});

test('no source makes markup of texts, and none is inline', () => {
    for (const file of filesOf(web).filter((name) => name.endsWith('.js') && !name.includes('/vendor/')))
        assert.doesNotMatch(fs.readFileSync(file, 'utf8'), /innerHTML|outerHTML|insertAdjacentHTML|document\.write|unsafeHTML|eval\(|new Function/, file);
    const page = fs.readFileSync(`${web}tablet/index.html`, 'utf8');
    assert.doesNotMatch(page, /<style|style=| on\w+=|<script(?![^>]* src=)/);
});

test('all modules that are needed at once are fetched at once', () => {
    const page = fs.readFileSync(`${web}tablet/index.html`, 'utf8');
    const used = ['tablet', 'common', 'vendor'].flatMap((folder) => filesOf(`${web}${folder}/`))
        .map((file) => file.slice(web.length))
        .filter((file) => file.endsWith('.js') && !/tablet\/main|entry\.js|texts-de|views\/(announce|pages|session)/.test(file));
    for (const file of used) assert.ok(page.includes(`<link rel="modulepreload" href="/${file}">`), file);
});

test('Lit is what its README makes', { skip: spawnSync('esbuild', ['--version']).status !== 0 && 'esbuild is not installed' }, () => {
    const readme = fs.readFileSync(`${web}vendor/lit/README.md`, 'utf8');
    const options = /esbuild (web\S+ [\s\S]*?)--banner/.exec(readme)[1].split(/\\?\s+/).filter(Boolean).map((option) => option.replace('web/', web));
    const banner = /--banner:js='([^']*)'/.exec(readme)[1];
    const made = execFileSync('esbuild', [...options, `--banner:js=${banner}`, '--log-level=error'], { env: { ...process.env, NODE_PATH: `${here}node_modules` }, encoding: 'utf8' });
    assert.equal(made, fs.readFileSync(`${web}vendor/lit/lit.js`, 'utf8'));
});
