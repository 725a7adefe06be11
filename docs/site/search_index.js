// usage: node search_index.js MODULES <SECTIONS >INDEX
//
// Makes the index that search.js asks, of a JSON array of objects with `path`, `title`, `page` and `text`.
'use strict';
const path = require('path');
const MiniSearch = require(path.join(process.argv[2], 'minisearch/dist/cjs/index.cjs'));
const { options } = require('./frame/search_options.js');

let input = '';
process.stdin.setEncoding('utf8');
process.stdin.on('data', (chunk) => { input += chunk; });
process.stdin.on('end', () => {
  const index = new MiniSearch(options);
  index.addAll(JSON.parse(input).map((section, id) => ({ id, ...section })));
  process.stdout.write(`window.manualIndex = ${JSON.stringify(JSON.stringify(index))};\n`);
});
