#include "dev/serve/panel_assets.h"

namespace quillet::dev {

const std::string_view look_css = R"css(
:root { color-scheme: light dark; --ink: #1d1d1f; --paper: #fff; --dim: #5f6368; --line: #dadce0; --red: #b3261e;
  --blue: #0b57d0; --soft: #f5f6f7; --green: #146c2e; }
@media (prefers-color-scheme: dark) { :root { --ink: #e8eaed; --paper: #1b1c1f; --dim: #9aa0a6; --line: #3c4043;
  --red: #f2b8b5; --blue: #a8c7fa; --soft: #26282c; --green: #a5d6a7; } }
* { box-sizing: border-box; }
body { margin: 0; font: 15px/1.45 system-ui, sans-serif; color: var(--ink); background: var(--paper); }
main { max-width: 60rem; margin: 0 auto; padding: 1rem; overflow-wrap: anywhere; }
h1 { font-size: 1.4rem; margin: 0 0 .5rem; }
h2 { font-size: 1rem; margin: 1.2rem 0 .4rem; }
h2 span { color: var(--dim); font-weight: normal; }
p { margin: .3rem 0; }
a { color: var(--blue); }
code, pre, .tree, .place, .message, .request { font-family: ui-monospace, monospace; font-size: .85rem; }
pre { background: var(--soft); padding: .6rem; overflow-x: auto; white-space: pre-wrap; margin: .3rem 0; }
table { border-collapse: collapse; width: 100%; font-size: .85rem; }
th { text-align: left; font-weight: normal; color: var(--dim); padding: .15rem .6rem .15rem 0; vertical-align: top;
  width: 11rem; }
td { padding: .15rem 0; }
button { font: inherit; padding: .2rem .7rem; }
small, .about, .why { color: var(--dim); }
.message { color: var(--red); }
.note { border-left: 3px solid var(--line); padding: .1rem 0 .1rem .7rem; margin: .4rem 0; }
.chain { margin: .2rem 0; padding-left: 1.2rem; font-size: .85rem; color: var(--dim); }
.requests { padding-left: 0; list-style: none; }
.requests li { padding: .25rem 0; border-bottom: 1px solid var(--line); }
details { margin: .2rem 0; }
summary { cursor: pointer; }
.tree code, .tree .result { word-break: break-all; }
.tree details { margin: 0; padding-left: .9rem; border-left: 1px solid var(--line); }
.tree summary { margin-left: -.6rem; padding: .1rem 0; }
.tree .leaf > summary { list-style: none; margin-left: 0; cursor: default; }
.tree .leaf > summary::-webkit-details-marker { display: none; }
.result { color: var(--green); }
.about { display: block; font-size: .75rem; }
.about .place { font-size: .75rem; }
.tree .message { display: block; }
)css";

const std::string_view reload_js = R"js(
(() => {
  const changes = new EventSource('/.quillet-dev/changes');
  changes.onmessage = () => location.reload();
  // A browser has six connections to a server, and would keep one for each page that it may go back to.
  addEventListener('pagehide', () => changes.close());
  addEventListener('pageshow', event => event.persisted && location.reload());
})();
)js";

// In a shadow tree, so that neither the page's style nor the button's reaches the other.
const std::string_view panel_js = R"js(
(() => {
  const number = document.currentScript.dataset.request;
  const changes = new EventSource('/.quillet-dev/changes');
  changes.onmessage = () => location.reload();
  // A browser has six connections to a server, and would keep one for each page that it may go back to.
  addEventListener('pagehide', () => changes.close());
  addEventListener('pageshow', event => event.persisted && location.reload());
  const host = document.createElement('quillet-dev-panel');
  const shadow = host.attachShadow({mode: 'open'});
  shadow.innerHTML = `<style>
    :host { all: initial; }
    button { position: fixed; right: 0; bottom: 4rem; z-index: 2147483647; font: 13px system-ui, sans-serif; color: #fff;
      background: #3c4043; border: 0; border-radius: 6px 0 0 6px; padding: 6px 9px; cursor: pointer; opacity: .85; }
    button.notes { background: #b3261e; opacity: 1; }
    button:focus-visible { outline: 2px solid #0b57d0; outline-offset: 2px; }
    iframe { position: fixed; z-index: 2147483646; right: 0; bottom: 0; top: 0; width: min(44rem, 100vw); height: 100%;
      border: 0; box-shadow: 0 0 24px rgb(0 0 0 / .4); background: Canvas; color-scheme: light dark; }
  </style><button type="button" aria-expanded="false">quillet</button>`;
  const button = shadow.querySelector('button');
  button.onclick = () => {
    const open = shadow.querySelector('iframe');
    button.setAttribute('aria-expanded', String(!open));
    button.textContent = open ? label : 'close';
    if (open) return open.remove();
    const frame = document.createElement('iframe');
    frame.title = 'What quillet-dev saw of this page';
    frame.src = '/.quillet-dev/request/' + number;
    shadow.append(frame);
  };
  let label = 'quillet';
  document.documentElement.append(host);
  fetch('/.quillet-dev/count/' + number).then(reply => reply.json()).then(seen => {
    button.textContent = label = seen.notes ? seen.notes + (seen.notes === 1 ? ' note' : ' notes') : seen.time + ' ms';
    button.classList.toggle('notes', seen.notes > 0);
  });
})();
)js";

}  // namespace quillet::dev
