// The XML that host and drivers speak: a reader that loses nothing, and the writer for it. It works in pages, workers
// and in node alike, and reads any name, with or without a namespace, as the host does.

/** As deep as the host itself reads. */
const MAX_DEPTH = 128;
const NAME = /[:A-Z_a-z\u00C0-\u00D6\u00D8-\u00F6\u00F8-\u02FF\u0370-\u037D\u037F-\u1FFF\u200C\u200D\u2070-\u218F\u2C00-\u2FEF\u3001-\uD7FF\uF900-\uFDCF\uFDF0-\uFFFD\u{10000}-\u{EFFFF}][-.\w:\u00B7\u00C0-\u00D6\u00D8-\u00F6\u00F8-\u037D\u037F-\u1FFF\u200C\u200D\u203F\u2040\u2070-\u218F\u2C00-\u2FEF\u3001-\uD7FF\uF900-\uFDCF\uFDF0-\uFFFD\u{10000}-\u{EFFFF}]*/uy;
const SPACE = /[ \t\n]*/y;
const ILLEGAL = /[^\t\n\r\u0020-\uD7FF\uE000-\uFFFD\u{10000}-\u{10FFFF}]/u;
/** @type {Record<string, string>} */
const ENTITIES = { lt: '<', gt: '>', amp: '&', quot: '"', apos: "'" };

/** What is wrong with a text, and where. */
export class XmlError extends Error {
    /** @param {string} what @param {number} at the position in the text */
    constructor(what, at) {
        super(`${what} at character ${at + 1}`);
        this.name = 'XmlError';
        this.at = at;
    }
}

/** An element: its children are elements and texts, in their order. */
export class XmlElement {
    /** @param {string} name */
    constructor(name) {
        this.name = name;
        /** @type {Map<string, string>} */
        this.attributes = new Map();
        /** @type {(XmlElement | string)[]} */
        this.children = [];
    }

    /** The element's own text, without that of its children. */
    get text() {
        return this.children.filter((child) => typeof child === 'string').join('');
    }

    /** The child elements: all, or those of a name. @param {string} [name] @returns {XmlElement[]} */
    elements(name) {
        return /** @type {XmlElement[]} */ (
            this.children.filter((child) => typeof child !== 'string' && (name === undefined || child.name === name))
        );
    }

    /** The first child of that name. @param {string} name @returns {XmlElement | undefined} */
    find(name) {
        return this.elements(name)[0];
    }

    /** The text of the first child of that name; empty without one. @param {string} name */
    value(name) {
        return this.find(name)?.text ?? '';
    }

    /** Whether that child says yes. @param {string} name */
    flag(name) {
        return isYes(this.value(name));
    }

    /** An attribute; empty without one. @param {string} name */
    attribute(name) {
        return this.attributes.get(name) ?? '';
    }
}

/** Whether a text means yes, as drivers write it. @param {string} text */
export const isYes = (text) => text === 'true' || text === '1';

/**
 * Reads a document and returns its root element; throws XmlError.
 * @param {string} text
 * @returns {XmlElement}
 */
export function parse(text) {
    return new Reader(text).document();
}

class Reader {
    /** @param {string} text */
    constructor(text) {
        this.text = text.replace(/^\uFEFF/, '').replace(/\r\n?/g, '\n');
        this.at = 0;
        const illegal = this.text.search(ILLEGAL);
        if (illegal >= 0) throw new XmlError('a character that XML does not have', illegal);
    }

    document() {
        if (this.text.startsWith('<?xml ')) this.after('?>', 'the XML declaration');
        this.misc();
        const root = this.element();
        this.misc();
        if (this.at < this.text.length) throw this.fault('something after the document');
        return root;
    }

    /** Blanks, comments and processing instructions, which are no data. */
    misc() {
        for (;;) {
            this.match(SPACE);
            if (this.has('<!--')) this.after('-->', 'a comment');
            else if (this.has('<?')) this.after('?>', 'a processing instruction');
            else return;
        }
    }

    /** An element and all in it; without recursion, so that no text exhausts the stack. */
    element() {
        if (!this.has('<')) throw this.fault('no element');
        /** @type {XmlElement[]} */
        const open = [];
        for (;;) {
            const { element, isEmpty } = this.startTag();
            open.at(-1)?.children.push(element);
            open.push(element);
            if (open.length > MAX_DEPTH) throw this.fault(`more than ${MAX_DEPTH} elements within each other`);
            if (isEmpty) open.pop();
            if (!open.length) return element;
            const root = this.content(open);
            if (root) return root;
        }
    }

    /**
     * Texts and end tags up to the next start tag, or to the end of the root, which is returned then.
     * @param {XmlElement[]} open
     */
    content(open) {
        for (;;) {
            const parent = open[open.length - 1];
            if (this.has('</')) {
                this.endTag(parent.name);
                open.pop();
                if (!open.length) return parent;
            } else if (this.has('<![CDATA[')) {
                this.at += 9;
                append(parent, this.until(']]>', 'a CDATA section'));
            } else if (this.has('<!--')) this.after('-->', 'a comment');
            else if (this.has('<?')) this.after('?>', 'a processing instruction');
            else if (this.has('<')) return null;
            else append(parent, this.characters());
        }
    }

    startTag() {
        if (this.has('<!')) throw this.fault('a document type, which is not taken');
        this.at += 1;
        const element = new XmlElement(this.takeName('an element'));
        for (;;) {
            const isSpaced = this.match(SPACE) !== '';
            if (this.skip('/>')) return { element, isEmpty: true };
            if (this.skip('>')) return { element, isEmpty: false };
            if (!isSpaced) throw this.fault(`the tag ${element.name} does not end`);
            this.takeAttribute(element);
        }
    }

    /** @param {XmlElement} element */
    takeAttribute(element) {
        const name = this.takeName('an attribute');
        if (element.attributes.has(name)) throw this.fault(`the attribute ${name} stands twice`);
        this.match(SPACE);
        if (!this.skip('=')) throw this.fault(`the attribute ${name} has no value`);
        this.match(SPACE);
        const quote = this.text[this.at];
        if (quote !== '"' && quote !== "'") throw this.fault(`the value of ${name} is not in quotes`);
        this.at += 1;
        const start = this.at;
        const raw = this.until(quote, `the value of ${name}`);
        if (raw.includes('<')) throw new XmlError(`the value of ${name} has a <`, start);
        element.attributes.set(name, this.resolved(raw.replace(/[\t\n]/g, ' '), start));
    }

    /** @param {string} name */
    endTag(name) {
        this.at += 2;
        const found = this.takeName('an end tag');
        if (found !== name) throw this.fault(`${name} is ended by ${found}`);
        this.match(SPACE);
        if (!this.skip('>')) throw this.fault(`the end of ${name} does not end`);
    }

    characters() {
        const start = this.at;
        const end = this.text.indexOf('<', start);
        if (end < 0) throw new XmlError('the document ends within an element', this.text.length);
        const raw = this.text.slice(start, end);
        if (raw.includes(']]>')) throw this.fault('a text with ]]>');
        this.at = end;
        return this.resolved(raw, start);
    }

    /** A text with its references replaced. @param {string} raw @param {number} start where it stands */
    resolved(raw, start) {
        return raw.replace(/&(?:#(\d+)|#x([\da-fA-F]+)|(\w+));|&/g, (all, decimal, hexadecimal, name, at) => {
            if (Object.hasOwn(ENTITIES, name)) return ENTITIES[name];
            const code = decimal ? parseInt(decimal, 10) : parseInt(hexadecimal, 16);
            const isCharacter = code <= 0x10ffff && (code < 0xd800 || code > 0xdfff);
            const character = isCharacter ? String.fromCodePoint(code) : '';
            if (!character || ILLEGAL.test(character)) throw new XmlError(`${all} stands for nothing`, start + at);
            return character;
        });
    }

    /** @param {string} what */
    takeName(what) {
        const name = this.match(NAME);
        if (!name) throw this.fault(`${what} without a name`);
        return name;
    }

    /** @param {string} text */
    has(text) {
        return this.text.startsWith(text, this.at);
    }

    /** @param {string} text */
    skip(text) {
        if (!this.has(text)) return false;
        this.at += text.length;
        return true;
    }

    /** @param {RegExp} pattern a sticky one */
    match(pattern) {
        pattern.lastIndex = this.at;
        const found = pattern.exec(this.text)?.[0] ?? '';
        this.at += found.length;
        return found;
    }

    /** What stands before `end`, which is skipped, too. @param {string} end @param {string} what */
    until(end, what) {
        const found = this.text.indexOf(end, this.at);
        if (found < 0) throw this.fault(`${what} does not end`);
        const text = this.text.slice(this.at, found);
        this.at = found + end.length;
        return text;
    }

    /** @param {string} end @param {string} what */
    after(end, what) {
        this.until(end, what);
    }

    /** @param {string} what */
    fault(what) {
        return new XmlError(what, this.at);
    }
}

/** Texts that touch become one. @param {XmlElement} parent @param {string} text */
function append(parent, text) {
    if (!text) return;
    const last = parent.children.length - 1;
    if (typeof parent.children[last] === 'string') parent.children[last] += text;
    else parent.children.push(text);
}

/** @type {Record<string, string>} */
const ESCAPES = { '&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;', '\t': '&#9;', '\n': '&#10;', '\r': '&#13;' };

/** A text as it stands in a document. @param {string} text */
export const escaped = (text) => text.replace(/[&<>\r\n]/g, (character) => ESCAPES[character]);

/** A value as it stands between double quotes. @param {string} text */
export const quoted = (text) => text.replace(/[&<>"\t\r\n]/g, (character) => ESCAPES[character]);

/** A list as commands take it: a root with a child for each item. @param {Iterable<string | number>} items */
export const idList = (items) => `<ids>${[...items].map((item) => `<id>${escaped(String(item))}</id>`).join('')}</ids>`;

/** The document of an element, without a declaration. @param {XmlElement} element @returns {string} */
export function write(element) {
    const attributes = [...element.attributes].map(([name, value]) => ` ${name}="${quoted(value)}"`).join('');
    const children = element.children.map((child) => (typeof child === 'string' ? escaped(child) : write(child))).join('');
    return children ? `<${element.name}${attributes}>${children}</${element.name}>` : `<${element.name}${attributes}/>`;
}
