export * from 'lit/html.js';
export {keyed} from 'lit/directives/keyed.js';
export {live} from 'lit/directives/live.js';
export {ref} from 'lit/directives/ref.js';
export {repeat} from 'lit/directives/repeat.js';
