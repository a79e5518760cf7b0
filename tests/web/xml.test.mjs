import assert from 'node:assert/strict';
import { test } from 'node:test';
import { idList, parse, write, XmlError } from '../../web/common/xml.js';

/** Reading and writing again gives the same document. */
const keeps = (text) => assert.equal(write(parse(text)), text);

test('elements, attributes and texts are kept in their order', () => {
    keeps('<device id="5" name="Hall"><id>5</id>before<name>Hall</name>after</device>');
    keeps('<a:b x:y="1"><c.d-e/></a:b>');
    keeps('<ä ö="ü">名前 😀</ä>');
});

test('blanks are data', () => {
    assert.equal(parse('<name>  two  blanks \n</name>').text, '  two  blanks \n');
    assert.equal(parse('<a> <b/> </a>').text, '  ');
});

test('references stand for their characters, and come back as references where they must', () => {
    const name = parse('<name a="&quot;&#9;&#10;&lt;">&lt;b&gt; &amp; &apos;&#x1F600;&#10;</name>');
    assert.equal(name.text, "<b> & '😀\n");
    assert.equal(name.attribute('a'), '"\t\n<');
    keeps('<name a="&quot;&#9;&#10;&lt;">&lt;b&gt; &amp;&#10;</name>');
});

test('CDATA joins the text around it', () => {
    assert.deepEqual(parse('<a>x<![CDATA[<&]]>y</a>').children, ['x<&y']);
});

test('line ends are line feeds, blanks in attributes are blanks', () => {
    assert.equal(parse('<a b="1\r\n2">x\r\ny\rz</a>').text, 'x\ny\nz');
    assert.equal(parse('<a b="1\r\n2"/>').attribute('b'), '1 2');
});

test('declaration, comments and instructions are passed over', () => {
    keeps('<a/>');
    assert.equal(write(parse('\uFEFF<?xml version="1.0"?>\n<!-- a < b --><a>x<!-- -->y<?z z?></a> <!-- end -->')), '<a>xy</a>');
});

test('a child is found by name, the first one counts', () => {
    const device = parse('<device><id>7</id><dnd>true</dnd><id>8</id></device>');
    assert.equal(device.value('id'), '7');
    assert.equal(device.elements('id').length, 2);
    assert.equal(device.flag('dnd'), true);
    assert.equal(device.value('absent'), '');
    assert.equal(device.find('absent'), undefined);
});

test('names of JavaScript are names like any other', () => {
    const odd = parse('<constructor __proto__="1"><hasOwnProperty>x</hasOwnProperty></constructor>');
    assert.equal(odd.attribute('__proto__'), '1');
    assert.equal(odd.value('hasOwnProperty'), 'x');
    assert.throws(() => parse('<a>&constructor;</a>'), XmlError);
});

for (const broken of [
    '', ' ', 'text', '<a>', '<a', '<a></b>', '<a/><b/>', '<a/>x', '<a b/>', '<a b=1/>', '<a b="1"c="2"/>', '<a b="1" b="2"/>', '<a b="<"/>',
    '<1/>', '< a/>', '</a>', '<a>&x;</a>', '<a>&</a>', '<a>&#0;</a>', '<a>&#xD800;</a>', '<a>&#x110000;</a>', '<a>]]></a>', '<a>\u0001</a>',
    '<!DOCTYPE a><a/>', '<a><!ENTITY x "y"></a>', '<a><![CDATA[x</a>', '<a><!-- x</a>', '<a>\uD800</a>',
])
    test(`refused with its place: ${JSON.stringify(broken)}`, () => assert.throws(() => parse(broken), /at character \d+$/));

test('128 elements within each other are read, as by the host, and no more', () => {
    const nested = (depth) => '<a>'.repeat(depth) + '</a>'.repeat(depth);
    keeps(`${'<a>'.repeat(127)}<a/>${'</a>'.repeat(127)}`);
    assert.throws(() => parse(nested(129)), /more than 128/);
    assert.throws(() => parse(nested(100_000)), /more than 128/);
});

test('a long list is read in one go', () => {
    const list = parse(`<devices>${'<device><id>1</id></device>'.repeat(50_000)}</devices>`);
    assert.equal(list.elements().length, 50_000);
});

test('a list of ids is an XML document', () => {
    assert.equal(idList(['101', 7, '<']), '<ids><id>101</id><id>7</id><id>&lt;</id></ids>');
});
