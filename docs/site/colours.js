// usage: node colours.js MODULES <BLOCKS >HTML
//
// Colours blocks of code as editors do, with the grammar of the editors' files. Reads a JSON array of objects with
// `language` and `code` and writes a JSON array of HTML texts. The names of operators that exist become
// <a data-operator="NAME">.
'use strict';
const path = require('path');
const { loadGrammars, tokenize } = require('../../editors/textmate.js');

// The class of a token: the first line whose pattern is found in one of its scopes, the innermost first.
const classes = [
  [/^comment\./, 'comment'],
  [/^punctuation\.definition\.comment/, 'comment'],
  [/^constant\.character\.(escape|entity)/, 'escape'],
  [/^keyword\.control\.quillet|^support\.function\..*quillet/, 'operator'],
  [/^entity\.name\.function\.(macro|call)\.quillet/, 'macro'],
  [/^variable\.parameter\.quillet|^punctuation\.definition\.variable\.quillet/, 'argument'],
  [/^punctuation\.(definition\.(call|macro|protected)|section\.call|separator\.parameter).*quillet/, 'mark'],
  [/^entity\.name\.tag|^punctuation\.definition\.tag/, 'tag'],
  [/^entity\.other\.attribute-name|^support\.type\.property-name/, 'attribute'],
  [/^string\.|^punctuation\.definition\.string/, 'string'],
  [/^constant\.numeric|^constant\.language/, 'number'],
  [/^keyword\.|^storage\./, 'keyword'],
];

function classOf(scopes) {
  for (const scope of [...scopes].reverse()) {
    const found = classes.find(([pattern]) => pattern.test(scope));
    if (found) return found[1];
  }
  return '';
}

function escaped(text) {
  // A tab in a data file separates cells: it is shown.
  return text.replace(/&/g, '&amp;').replace(/</g, '&lt;').replace(/>/g, '&gt;')
    .replace(/\t/g, '<span class="tab">\t</span>');
}

function element(name, text) {
  if (!name) return escaped(text);
  if (name === 'operator') return `<a data-operator="${text}" class="operator">${escaped(text)}</a>`;
  return `<span class="${name}">${escaped(text)}</span>`;
}

// Neighbours of the same class become one element.
function coloured(grammar, code) {
  let html = '';
  let open = { name: '', text: '' };
  const flush = () => { html += element(open.name, open.text); };
  let end = 0;
  for (const token of tokenize(grammar, code)) {
    const between = code.slice(end, token.offset);
    const name = classOf(token.scopes);
    end = token.offset + token.text.length;
    if (name === open.name && name !== 'operator') {
      open.text += between + token.text;
      continue;
    }
    flush();
    html += escaped(between);
    open = { name, text: token.text };
  }
  flush();
  return html + escaped(code.slice(end));
}

async function main() {
  const chunks = [];
  for await (const chunk of process.stdin) chunks.push(chunk);
  const blocks = JSON.parse(Buffer.concat(chunks).toString());
  const grammars = await loadGrammars({
    quillet: 'text.html.quillet', html: 'text.html.basic', css: 'source.css', javascript: 'source.js',
    shell: 'source.shell',
  });
  process.stdout.write(JSON.stringify(blocks.map(({ language, code }) => {
    const grammar = grammars[language];
    return grammar ? coloured(grammar, code) : escaped(code);
  })));
}

main();
