// usage: node grammar_test.js CALLS
//
// On every page and macro file of examples/site and of the folder pages/ the grammar finds the calls that the program
// CALLS finds, and no others; and the texts of scopes.txt have the scopes that are said there.
'use strict';
const childProcess = require('child_process');
const fs = require('fs');
const path = require('path');
const { loadGrammar, tokenize, root } = require('../../editors/textmate.js');

const marks = new Map([
  ['punctuation.definition.call.quillet', '^'],
  ['punctuation.section.call.begin.quillet', '['],
  ['punctuation.separator.parameter.quillet', ';'],
  ['punctuation.section.call.end.quillet', ']'],
]);

let failures = 0;
function fail(message) {
  console.log(message);
  ++failures;
}

function pagesBelow(folder) {
  return fs.readdirSync(folder, { withFileTypes: true }).flatMap((entry) => {
    const name = path.join(folder, entry.name);
    if (entry.isDirectory()) return pagesBelow(name);
    return /\.html$|^_.*\.cfg$/.test(entry.name) ? [name] : [];
  });
}

function callsFound(program, file) {
  return childProcess.execFileSync(program, [file], { encoding: 'latin1' }).trimEnd().split('\n');
}

function callsColoured(grammar, text) {
  return tokenize(grammar, text).flatMap((token) => {
    const mark = marks.get(token.scopes.at(-1));
    return mark ? [`${token.offset} ${mark}`] : [];
  });
}

function place(text, offset) {
  const before = text.slice(0, offset).split('\n');
  return `${before.length}:${before.at(-1).length + 1}`;
}

function compare(grammar, program, file) {
  const text = fs.readFileSync(file, 'latin1');  // bytes as characters: offsets are those of the program
  const found = new Set(callsFound(program, file));
  const coloured = new Set(callsColoured(grammar, text));
  const say = (mark, what) => {
    const [offset, character] = mark.split(' ');
    fail(`${file}:${place(text, Number(offset))}: the ${character} is ${what}`);
  };
  for (const mark of found) if (!coloured.has(mark)) say(mark, 'of a call and has no colour');
  for (const mark of coloured) if (!found.has(mark)) say(mark, 'coloured and of no call');
  return found.size;
}

// A text, then a line "characters  scope" for each token that it must have, without white space at its ends.
function checkScopes(grammar, file) {
  for (const block of fs.readFileSync(file, 'utf8').split(/^---\n/m).slice(1)) {
    const [text, expected] = block.split(/^=>\n/m);
    const tokens = tokenize(grammar, text.replace(/\n$/, ''));
    for (const line of expected.trim().split('\n')) {
      const [characters, scope] = line.trim().split('  ');
      const wanted = tokens.find((token) => token.text.trim() === characters && token.scopes.includes(scope));
      if (wanted) continue;
      fail(`no "${characters}" with ${scope} in:\n${text}`);
      for (const token of tokens) console.log(`  "${token.text}" ${token.scopes.slice(1).join(' ')}`);
    }
  }
}

async function main() {
  const grammar = await loadGrammar();
  const files = [path.join(root, 'examples/site'), path.join(__dirname, 'pages')].flatMap(pagesBelow);
  let sum = 0;
  for (const file of files) sum += compare(grammar, process.argv[2], file);
  checkScopes(grammar, path.join(__dirname, 'scopes.txt'));
  console.log(`${files.length} files, ${sum} marks of calls, ${failures} failures`);
  process.exit(failures || files.length < 40 || sum < 2000 ? 1 : 0);
}

main();
