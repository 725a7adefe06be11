// Colours texts with a TextMate grammar as editors do: vscode-textmate on the library for regular expressions that it
// is made for. The grammars of HTML, style sheets and scripts are those that editors have. The npm packages are in the
// folder that the variable QUILLET_NODE_MODULES names.
'use strict';
const fs = require('fs');
const path = require('path');

const modules = process.env.QUILLET_NODE_MODULES;
const { Registry, INITIAL, parseRawGrammar } = require(path.join(modules, 'vscode-textmate'));
const oniguruma = require(path.join(modules, 'vscode-oniguruma'));

const root = path.resolve(__dirname, '..');
const others = { 'text.html.basic': 'html', 'source.css': 'css', 'source.js': 'javascript', 'source.shell': 'shellscript' };

function grammarFile(scope) {
  if (scope === 'text.html.quillet') return path.join(root, 'editors/vscode/syntaxes/quillet.tmLanguage.json');
  return others[scope] && path.join(modules, 'tm-grammars/grammars', others[scope] + '.json');
}

async function makeRegistry() {
  const wasm = fs.readFileSync(path.join(modules, 'vscode-oniguruma/release/onig.wasm'));
  await oniguruma.loadWASM(wasm.buffer.slice(wasm.byteOffset, wasm.byteOffset + wasm.byteLength));
  return new Registry({
    onigLib: Promise.resolve({
      createOnigScanner: (patterns) => new oniguruma.OnigScanner(patterns),
      createOnigString: (text) => new oniguruma.OnigString(text),
    }),
    loadGrammar: async (scope) => {
      const file = grammarFile(scope);
      return file ? parseRawGrammar(fs.readFileSync(file, 'utf8'), file) : null;
    },
  });
}

// The grammars of an object { name: scope }, by these names.
async function loadGrammars(scopes) {
  const registry = await makeRegistry();
  const grammars = {};
  for (const [name, scope] of Object.entries(scopes)) grammars[name] = await registry.loadGrammar(scope);
  return grammars;
}

async function loadGrammar() {
  return (await loadGrammars({ quillet: 'text.html.quillet' })).quillet;
}

// The tokens of a text: where each starts, its characters, and its scopes, the innermost last.
function tokenize(grammar, text) {
  const tokens = [];
  let stack = INITIAL;
  let start = 0;
  for (const line of text.split('\n')) {
    const result = grammar.tokenizeLine(line, stack);
    for (const token of result.tokens) {
      const characters = line.slice(token.startIndex, token.endIndex);
      tokens.push({ offset: start + token.startIndex, text: characters, scopes: token.scopes });
    }
    stack = result.ruleStack;
    start += line.length + 1;
  }
  return tokens;
}

module.exports = { loadGrammar, loadGrammars, tokenize, root };
