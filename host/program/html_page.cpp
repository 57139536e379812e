// The page around the sections.
#include "host/program/html_page.h"

#include <string.h>

#include "host/program/dump_html.h"
#include "host/program/html_text.h"
#include "host/program/output.h"

// Colours by meaning, once for light and once for dark. Rows are grids whose columns line up level by level; on a
// narrow screen the value stands below. What is not in view is not laid out, so that long data sets stay quick.
const char PAGE_STYLE[] = R"CSS(
:root {
  color-scheme: light dark;
  --back: #ffffff; --raised: #f3f5f7; --text: #1c1e21; --faint: #5b636e; --line: #d5dae0;
  --blue: #0b57d0; --red: #b3261e; --yellow: #8a5a00; --green: #13703a; --hit: #fff1b8;
}
@media (prefers-color-scheme: dark) {
  :root {
    --back: #16181c; --raised: #1f2329; --text: #e4e6ea; --faint: #9aa3af; --line: #363c45;
    --blue: #8ab4f8; --red: #f59a92; --yellow: #f2c55c; --green: #7fd09a; --hit: #4a3f12;
  }
}
* { box-sizing: border-box; }
body { margin: 0; padding: 0 1rem 3rem; background: var(--back); color: var(--text); font: 14px/1.45 system-ui, sans-serif; }
code, .r, .h, .i > summary { font-family: ui-monospace, "DejaVu Sans Mono", Menlo, Consolas, monospace; font-size: 13px; }
#bar { position: sticky; top: 0; z-index: 1; display: flex; flex-wrap: wrap; gap: .4rem .6rem; align-items: center;
  margin: 0 -1rem; padding: .5rem 1rem; background: var(--raised); border-bottom: 1px solid var(--line); }
#bar[hidden] { display: none; }
#bar label { display: flex; gap: .4rem; align-items: center; }
#find { width: min(24rem, 60vw); }
input, select, button { font: inherit; color: inherit; background: var(--back); border: 1px solid var(--line);
  border-radius: 4px; padding: .15rem .5rem; }
button { cursor: pointer; }
:focus-visible { outline: 2px solid var(--blue); outline-offset: 1px; }
#count { color: var(--faint); }
summary { cursor: pointer; }
details.legend, details.o { margin: .6rem 0; color: var(--faint); }
details.legend p { margin: .3rem 0 .3rem 1rem; }
details.o ol { margin: .3rem 0; padding-left: 3.5rem; }
details.o li { overflow-wrap: anywhere; }
details.file { margin: .6rem 0 1.5rem; }
details.file > summary { position: relative; padding: .2rem 0 .2rem 1.2rem; list-style: none; }
details.file > summary::before { content: "\25B8"; position: absolute; left: 0; top: .25rem; color: var(--faint); }
details.file[open] > summary::before { content: "\25BE"; }
h1 { display: inline; margin: 0; font-size: 1.15rem; overflow-wrap: anywhere; }
details.file > summary p { margin: .1rem 0; color: var(--faint); overflow-wrap: anywhere; }
.r, .h { display: grid; gap: 0 1ch; padding: 1px 0 1px 2ch; align-items: baseline;
  grid-template-columns: 9ch 2ch minmax(12ch, 42ch) 10ch 10ch minmax(16ch, 1fr); }
.r { position: relative; border-bottom: 1px solid var(--line); scroll-margin: 4rem; }
.c { content-visibility: auto; contain-intrinsic-size: auto 220em; }
details.i { content-visibility: auto; contain-intrinsic-size: auto 1.6em; }
.r:hover { background: var(--raised); }
.r > span:nth-of-type(1), .h > span { padding-left: 1ch; }
.h { color: var(--faint); border-bottom: 2px solid var(--line); }
.r > i, .h > i { font-style: normal; text-align: right; color: var(--faint); white-space: nowrap; }
.r > em, .h > em { font-style: normal; overflow-wrap: anywhere; }
.r > code, .r > b { color: var(--blue); }
.h > b { font-weight: normal; }
.r > span:nth-of-type(1) { white-space: pre-wrap; overflow-wrap: anywhere; unicode-bidi: isolate; }
.r > .x, small.x { color: var(--red); }
.r > b.x { font-weight: 800; }
.r > .g { color: var(--green); }
small.y { color: var(--yellow); }
.r small { font-size: 12px; }
.r > em small:not(.q) { margin-left: 1ch; }
.r > span > small { color: var(--faint); }
small.c { color: var(--faint); border: 1px solid var(--line); border-radius: 3px; padding: 0 .4ch; }
u { text-decoration: none; color: var(--red); background: var(--raised); border-radius: 2px; }
s { text-decoration: none; color: var(--faint); margin-left: 1ch; }
mark { background: none; border: 1px solid; border-radius: 3px; padding: 0 .5ch; font-size: 12px; color: var(--faint); }
mark.w { color: var(--red); }
mark.p { color: var(--yellow); }
.r > span.w, .r > span.p, .r > span.m { grid-column: 3 / -1; overflow-wrap: anywhere; font-family: system-ui, sans-serif;
  padding-left: .8ch; border-left: 3px solid var(--line); margin: 1px 0; }
.r > span.w { border-color: var(--red); }
.r > span.p { border-color: var(--yellow); }
.w > b { color: var(--red); }
.p > b { color: var(--yellow); }
.m > b { color: var(--faint); }
.r > span:target, .r.at { background: var(--hit); }
details.s, details.i { scroll-margin: 4rem; }
details.s > .r { list-style: none; }
details.s > .r::before { content: "\25B8"; position: absolute; left: .3ch; color: var(--faint); }
details.s[open] > .r::before { content: "\25BE"; }
details.s > .r > em { font-weight: 600; }
details.s > :not(summary) { margin-left: 1.2ch; padding-left: .8ch; border-left: 1px solid var(--line); }
details.i > summary { color: var(--faint); padding: 1px 0; }
details.i > summary > i { font-style: normal; }
details.i > summary > span { color: var(--text); unicode-bidi: isolate; overflow-wrap: anywhere; }
.finding .file:not(.on), .finding .file .r:not(.hit):not(.on), .finding .file details.s:not(.on),
.finding .file details.i:not(.on), .finding .file .c:not(.on) { display: none; }
.finding .c { contain-intrinsic-size: auto 4em; }
.finding .file details.hit .c { display: block; }
.finding .file details.hit .r { display: grid; }
.finding .file details.hit details { display: block; }
.finding .hit > code { background: var(--hit); }
@media (max-width: 60rem) {
  .r, .h { grid-template-columns: 9ch 2ch 1fr auto auto; }
  .r > span, .r > span.w, .r > span.p, .r > span.m { grid-column: 2 / -1; }
  .r > span:nth-of-type(1) { padding-left: 0; }
  .h > span { display: none; }
}
@media (max-width: 34rem) {
  body { padding: 0 .5rem 3rem; }
  #bar { margin: 0 -.5rem; padding: .4rem .5rem; }
  .r, .h { grid-template-columns: 9ch 2ch 1fr; }
  .r > i, .h > i { display: none; }
  .r > span, .r > span.w, .r > span.p, .r > span.m { grid-column: 1 / -1; padding-left: 2ch; }
  details.s > :not(summary) { margin-left: .2ch; padding-left: .4ch; }
}
@media print { #bar, details.legend { display: none; } }
)CSS";

// Everything works without it but the search. It makes no markup of texts: it only sets classes, and opens and closes.
const char PAGE_SCRIPT[] = R"JS(
'use strict';
(function () {
  const by = function (id) { return document.getElementById(id); };
  const find = by('find'), scope = by('scope'), marked = by('marked'), count = by('count');
  const OPENED = 200;            // hits that are unfolded by themselves
  let rows = null;               // all rows, in their order
  const texts = {};              // of the rows, in lower case, by scope
  let touched = [], unfolded = [], hits = [], at = -1, timer = 0;

  function allRows() {
    if (rows === null) rows = Array.from(document.querySelectorAll('details.file .r'));
    return rows;
  }

  // The columns of a row: tag, VR, name, length, offset, value, and then what was found.
  function textOf(row, where) {
    const cells = row.children;
    if (where === 'tag') return cells[0].textContent;
    if (where === 'name') return cells[2].textContent;
    if (where === 'value') return cells[5].textContent;
    return Array.from(cells, function (cell) { return cell.textContent; }).join(' ');
  }

  function textsOf(where) {
    if (!texts[where])
      texts[where] = allRows().map(function (row) { return textOf(row, where).toLowerCase(); });
    return texts[where];
  }

  // 00100010, (0010,0010) and, among tags, wildcards as in 60xx,3000 and 0010,*.
  function testOf(text, where) {
    let wanted = text.trim().toLowerCase();
    const tag = /^\(?([0-9a-fx*?]{4}),?([0-9a-fx*?]{4}|\*)\)?$/.exec(wanted);
    if (tag && (where === 'tag' || /^[0-9a-f]{8}$/.test(tag[1] + tag[2]))) wanted = tag[1] + ',' + tag[2];
    if (where === 'tag' && /[x*?]/.test(wanted)) {
      const pattern = wanted.replace(/[^0-9a-z*?]/g, '\\$&').replace(/\*/g, '.*').replace(/[x?]/g, '.');
      const expression = new RegExp(pattern);
      return function (text) { return expression.test(text); };
    }
    return function (text) { return text.includes(wanted); };
  }

  function touch(element, name) {
    element.classList.add(name);
    touched.push(element);
  }

  function reset() {
    touched.forEach(function (element) { element.classList.remove('on', 'hit', 'at'); });
    unfolded.forEach(function (block) { block.open = false; });
    touched = [];
    unfolded = [];
    hits = [];
    at = -1;
    document.body.classList.remove('finding');
  }

  function unfold(block) {
    if (block.open) return;
    block.open = true;
    unfolded.push(block);
  }

  // Shows what stands around a hit; stops where another hit has been already, unless it is to be unfolded.
  function show(row, isUnfolded) {
    let block = row.parentElement;
    if (row.localName === 'summary') {
      touch(block, 'hit');
      touch(block, 'on');
      block = block.parentElement;
    }
    for (; block && block !== document.body; block = block.parentElement) {
      const seen = block.classList.contains('on');
      if (seen && !isUnfolded) return;
      const folds = block.localName === 'details';   // else it is a part of a long chain
      if (isUnfolded && folds) unfold(block);
      if (seen) continue;
      touch(block, 'on');
      if (folds) touch(block.firstElementChild, 'on');
    }
  }

  function search() {
    const wanted = find.value, only = marked.checked;
    reset();
    if (wanted.trim() === '' && !only) { count.textContent = ''; return; }
    const test = testOf(wanted, scope.value), list = textsOf(scope.value);
    allRows().forEach(function (row, i) {
      if ((!only || row.classList.contains('f')) && test(list[i])) hits.push(row);
    });
    hits.forEach(function (row, i) {
      touch(row, 'hit');
      show(row, i < OPENED);
    });
    document.body.classList.add('finding');
    count.textContent = hits.length === 1 ? '1 row' : hits.length.toLocaleString('en') + ' rows';
  }

  function go(step) {
    if (hits.length === 0) return;
    if (at >= 0) hits[at].classList.remove('at');
    at = at < 0 ? (step > 0 ? 0 : hits.length - 1) : (at + step + hits.length) % hits.length;
    const row = hits[at];
    show(row, true);
    touch(row, 'at');
    row.scrollIntoView({ block: 'center' });
    count.textContent = (at + 1).toLocaleString('en') + ' of ' + hits.length.toLocaleString('en') + ' rows';
  }

  function setAll(isOpen) {
    document.querySelectorAll('details.s, details.i').forEach(function (block) { block.open = isOpen; });
    unfolded = [];
  }

  // The path of a row as the commands take it: 0040,a730[2]/0008,0104.
  function pathOf(row) {
    let path = row.firstElementChild.textContent;
    for (let block = row.parentElement; block; block = block.parentElement) {
      if (!block.classList.contains('i')) continue;
      const sequence = block.parentElement;
      const number = block.firstElementChild.firstChild.textContent.replace(/\D/g, '');
      path = sequence.firstElementChild.firstElementChild.textContent + '[' + number + ']/' + path;
      block = sequence;
    }
    return path;
  }

  // #find=TEXT&in=tag searches; any other fragment names a mark.
  function follow() {
    const wanted = new URLSearchParams(location.hash.slice(1));
    if (wanted.has('find') || wanted.has('findings')) {
      find.value = wanted.get('find') || '';
      marked.checked = wanted.has('findings');
      if (['all', 'tag', 'name', 'value'].includes(wanted.get('in'))) scope.value = wanted.get('in');
      search();
      return;
    }
    const target = location.hash.length > 1 ? by(location.hash.slice(1)) : null;
    if (!target) return;
    for (let block = target.parentElement; block; block = block.parentElement)
      if (block.localName === 'details') block.open = true;
    target.scrollIntoView({ block: 'center' });
  }

  function soon() {
    clearTimeout(timer);
    timer = setTimeout(search, 150);
  }

  find.addEventListener('input', soon);
  scope.addEventListener('change', search);
  marked.addEventListener('change', search);
  by('next').addEventListener('click', function () { go(1); });
  by('previous').addEventListener('click', function () { go(-1); });
  by('unfold').addEventListener('click', function () { setAll(true); });
  by('fold').addEventListener('click', function () { setAll(false); });
  document.addEventListener('keydown', function (event) {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const target = event.target;
    if (target === find) {
      if (event.key === 'Enter') { clearTimeout(timer); if (hits.length === 0) search(); go(event.shiftKey ? -1 : 1); }
      if (event.key === 'Escape') { find.value = ''; search(); find.blur(); }
    } else if (event.key === '/' && target.localName !== 'select') {
      event.preventDefault();
      find.focus();
      find.select();
    } else if (target.localName === 'summary' && (event.key === 'ArrowRight' || event.key === 'ArrowLeft')) {
      target.parentElement.open = event.key === 'ArrowRight';
    }
  });
  document.addEventListener('mouseover', function (event) {
    const row = event.target.closest ? event.target.closest('details.file .r') : null;
    if (row && !row.title) row.title = pathOf(row);
  });
  addEventListener('hashchange', follow);
  by('bar').hidden = false;
  follow();
})();
)JS";

const char STYLE_HASH[] = "vlz52spBYdYm3OEEWzUG3w+Xll8ABg8G0EsazvmKVKU=";
const char SCRIPT_HASH[] = "nle0iOw8gAA7uWRZIAnJC7vljWwJO3511GwfU7MdHzw=";

const char PAGE_TOOLS[] = R"HTML(<div id="bar" hidden="">
<label>Find <input id="find" type="search" spellcheck="false" autocomplete="off" title="tag, name or value; the key / leads here"/></label>
<label>in <select id="scope"><option value="all">everything</option><option value="tag">tags</option>
<option value="name">names</option><option value="value">values</option></select></label>
<label><input id="marked" type="checkbox"/> findings only</label>
<button id="previous" type="button">Previous</button><button id="next" type="button">Next</button>
<button id="unfold" type="button">Unfold all</button><button id="fold" type="button">Fold all</button>
<output id="count"></output></div>
)HTML";

const char PAGE_LEGEND[] = R"HTML(<details class="legend"><summary>Legend and keys</summary>
<div class="r"><code>0010,0010</code><b>PN</b><em>blue: normal; VR of the stream</em><i></i><i></i><span></span></div>
<div class="r"><code class="x">0010,0010</code><b class="g">PN</b><em>red tag: a fault; green: VR by definition</em><i></i><i></i><span></span></div>
<div class="r"><code>0009,1001</code><b class="x">LO</b><em>red VR: guessed<small class="y">private</small><small class="c">MAKER</small></em><i></i><i></i><span>the value; <u>\x1b</u> and <u>U+202E</u> stand for what cannot be seen</span><span class="w"><b>warning</b> the value or the stream is wrong</span><span class="p"><b>repair</b> loading put it right</span><span class="m"><b>remark</b> can be put right without doubt, or is not wrong for a reader</span></div>
<p>Length and offset are in bytes, of the value and of the element; of a deflated data set, in what was inflated. A sequence folds out with a click, Enter, or the arrow keys; / goes to the search, Enter there to the next row found, Escape ends it. A tag may have wildcards: 60xx,3000. The path of a row, as the commands of velmora take it, shows when the pointer rests on it.</p>
</details>
)HTML";

// ---- the page -------------------------------------------------------------------------

// Escaped as for an element, but the inside of a title is no place for one.
static std::string title_text(const std::string &title)
{
    std::string text;
    append_html(title, &text);
    for (const char *tag : {"<u>", "</u>"})
        for (size_t at; (at = text.find(tag)) != std::string::npos;)
            text.erase(at, strlen(tag));
    return text;
}

void start_page(const std::string &title)
{
    write_out("<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"/>\n"
              "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'sha256-");
    write_out(std::string(STYLE_HASH) + "'; script-src 'sha256-" + SCRIPT_HASH +
              "'; base-uri 'none'; form-action 'none'\"/>\n");
    write_out("<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n"
              "<meta name=\"referrer\" content=\"no-referrer\"/>\n<title>" +
              title_text(title) + "</title>\n<style>");
    write_out(PAGE_STYLE);
    write_out("</style></head>\n<body>\n");
    write_out(PAGE_TOOLS);
    write_out(PAGE_LEGEND);
    flush_out();   // before workers begin, which would have it, too
}

void end_page()
{
    write_out("<script>");
    write_out(PAGE_SCRIPT);
    write_out("</script>\n</body></html>\n");
}
