// Makes icons.js: node make.mjs FOLDER-OF-SVG-FILES. The names on the left are those of the pages.
import { readFileSync, writeFileSync } from 'node:fs';

const NAMES = {
    accept: 'phone', announce: 'megaphone', away: 'wifi-off', back: 'arrow-left', bell: 'bell', book: 'book-user',
    camera: 'video', cameraOff: 'video-off', check: 'check', close: 'x', door: 'door-open', erase: 'delete', eye: 'eye',
    eyeOff: 'eye-off', group: 'users', hangUp: 'phone-off', history: 'history', hold: 'pause', incoming: 'phone-incoming',
    keypad: 'grip', listen: 'ear', lock: 'lock', microphone: 'mic', microphoneOff: 'mic-off', missed: 'phone-missed',
    moon: 'moon', outgoing: 'phone-outgoing', panel: 'tablet-smartphone', resume: 'play', settings: 'settings',
    sound: 'volume-2', soundOff: 'volume-x', station: 'cctv', trash: 'trash-2', warning: 'triangle-alert',
};

const shapes = (file) =>
    readFileSync(file, 'utf8').replace(/^[\s\S]*?<svg[^>]*>|<\/svg>\s*$/g, '').replace(/\s*\n\s*/g, '').replace(/ \/>/g, '/>');
const rows = Object.entries(NAMES).map(([name, file]) => `    ${name}: svg\`${shapes(`${process.argv[2]}/${file}.svg`)}\`,\n`);
writeFileSync(
    new URL('icons.js', import.meta.url),
    `// Made by make.mjs of Lucide 1.62.0 (ISC): see LICENSE and README.md beside this file.
import { svg } from '../lit/lit.js';

/** The shapes of each icon, in a square of 24, to be drawn as lines. */
export const icons = {
${rows.join('')}};
`,
);
