// Texts in the languages of the home. English is the one that every text has.

/** A text, or its forms by number; {name} stands for a value. @typedef {string | { one: string, other: string }} Text */
/** @typedef {'en' | 'de'} Language */

/** @type {Language[]} */
export const LANGUAGES = ['en', 'de'];

/** What a browser wishes for, as far as there are texts. @param {readonly string[]} wishes @returns {Language} */
export function languageOf(wishes) {
    const languages = wishes.map((wish) => LANGUAGES.find((language) => wish.toLowerCase().startsWith(language)));
    return languages.find((language) => language) ?? 'en';
}

/**
 * The texts of one language, as a function of key and values. A value named count chooses between singular and plural.
 * @template {string} Key
 * @param {Record<Key, Text>} texts @param {Language} language
 */
export function translator(texts, language) {
    const plural = new Intl.PluralRules(language);
    /** @param {Key} key @param {Record<string, string | number>} [values] @returns {string} */
    return (key, values = {}) => {
        const text = texts[key];
        const isOne = typeof text !== 'string' && plural.select(Number(values.count)) === 'one';
        const form = typeof text === 'string' ? text : isOne ? text.one : text.other;
        return form.replace(/\{(\w+)\}/g, (all, name) => (Object.hasOwn(values, name) ? String(values[name]) : all));
    };
}
