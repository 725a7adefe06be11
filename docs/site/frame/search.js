// The search field. The index is loaded when somebody is about to search.
'use strict';
(function () {
  const root = document.body.dataset.root;
  const form = document.querySelector('form.search');
  const field = form.querySelector('input');
  const found = form.querySelector('.found');
  let index = null;
  let loading = null;

  function load(name) {
    return new Promise((resolve, reject) => {
      const script = document.createElement('script');
      script.src = root + name;
      script.onload = resolve;
      script.onerror = reject;
      document.head.append(script);
    });
  }

  function loadIndex() {
    loading = loading || load('minisearch.js').then(() => load('search_index.js')).then(() => {
      index = window.MiniSearch.loadJSON(window.manualIndex, window.manualSearch.options);
    });
    return loading;
  }

  function element(name, text, parent) {
    const made = document.createElement(name);
    made.textContent = text;
    parent.append(made);
    return made;
  }

  // An operator whose name was typed comes first.
  function matches(text) {
    const boostDocument = (id, term, stored) => (stored.title === text ? 20 : 1);
    return index.search(text, { boostDocument }).slice(0, 12);
  }

  function show() {
    const text = field.value.trim().replace(/^\^/, '').replace(/\[.*$/, '');
    found.replaceChildren();
    found.hidden = !text || !index;
    if (found.hidden) return;
    const results = matches(text);
    const status = element('p', results.length ? '' : `Nothing about “${text}”.`, found);
    status.setAttribute('role', 'status');
    const list = element('ul', '', found);
    for (const result of results) {
      const link = element('a', '', element('li', '', list));
      link.href = root + result.path;
      element('b', result.title, link);
      if (result.page !== result.title) element('span', result.page, link);
      element('small', result.summary, link);
    }
    if (!results.length) list.remove();
  }

  function move(step) {
    const stops = [field, ...found.querySelectorAll('a')];
    const next = stops.indexOf(document.activeElement) + step;
    if (stops[next]) stops[next].focus();
  }

  form.hidden = false;
  field.addEventListener('focus', loadIndex);
  field.addEventListener('input', () => { loadIndex().then(show); });
  form.addEventListener('submit', (event) => {
    event.preventDefault();
    loadIndex().then(() => {
      show();
      const first = found.querySelector('a');
      if (first) first.click();
    });
  });
  form.addEventListener('keydown', (event) => {
    if (event.key === 'ArrowDown') move(1);
    else if (event.key === 'ArrowUp') move(-1);
    else if (event.key === 'Escape') { field.value = ''; show(); field.focus(); } else return;
    event.preventDefault();
  });
  document.addEventListener('keydown', (event) => {
    if (event.key !== '/' || event.ctrlKey || event.metaKey || /^(INPUT|TEXTAREA)$/.test(event.target.tagName)) return;
    event.preventDefault();
    field.focus();
  });
  document.addEventListener('click', (event) => { if (!form.contains(event.target)) found.hidden = true; });
}());
