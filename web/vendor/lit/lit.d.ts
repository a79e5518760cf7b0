// The types of lit.js, which is made of entry.js.
export * from './entry.js';
