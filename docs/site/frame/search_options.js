// What the index of the search is made of; the browser and docs/site/search_index.js read it.
'use strict';
(function (scope) {
  scope.options = {
    fields: ['title', 'page', 'text'],
    storeFields: ['path', 'title', 'page', 'summary'],
    searchOptions: {
      boost: { title: 6, page: 2 },
      combineWith: 'AND',
      prefix: true,
      fuzzy: (term) => (term.length > 4 ? 0.2 : false),
    },
  };
}(typeof module === 'object' ? module.exports : (window.manualSearch = {})));
