// The style sheet and scripts of the HTML report, inlined into every report
// so that the file stands alone. The page script reads the plate's JSON
// document from the element #corvel-data, draws the charts as SVG and makes
// the tables sortable; it loads nothing and talks to no server.
#ifndef CORVEL_TOOL_REPORT_ASSETS_H
#define CORVEL_TOOL_REPORT_ASSETS_H

namespace corvel::tool {

// Runs first, in <head>: records every uncaught error on the page
// (<body data-errors>, data-rendered="error") so that a failure can be told
// from success by looking at the document alone.
inline constexpr const char kReportErrorHandler[] = R"js(
window.onerror = function (message, source, line, column) {
  var root = document.body || document.documentElement;
  var previous = root.getAttribute('data-errors');
  var entry = message + ' (line ' + line + ':' + column + ')';
  root.setAttribute('data-errors', previous ? previous + '\n' + entry : entry);
  root.setAttribute('data-rendered', 'error');
};
window.addEventListener('unhandledrejection', function (event) {
  window.onerror('Unhandled rejection: ' + event.reason, '', 0, 0);
});
)js";

inline constexpr const char kReportCss[] = R"css(
:root {
  --ink: #1d2733; --muted: #5b6b7c; --faint: #8a97a6; --line: #dde3ea; --grid: #eef1f5;
  --paper: #ffffff; --page: #f4f6f9; --accent: #1f5fa8; --accent-soft: #e7eff9;
  --warn: #9a5b00; --warn-soft: #fff4e0; --bad: #b42318; --bad-soft: #fdecea;
  color-scheme: light;
}
* { box-sizing: border-box; }
html { font-size: 15px; }
body {
  margin: 0; background: var(--page); color: var(--ink);
  font-family: system-ui, -apple-system, "Segoe UI", Roboto, "Noto Sans", "DejaVu Sans", sans-serif;
  line-height: 1.45;
}
code { font-family: ui-monospace, "DejaVu Sans Mono", monospace; font-size: 0.9em; }
.masthead { background: #17324f; color: #fff; padding: 22px 32px 18px; }
.masthead .brand {
  font-size: 0.8rem; letter-spacing: 0.08em; text-transform: uppercase; opacity: 0.75;
}
.masthead h1 { margin: 4px 0 2px; font-size: 1.7rem; font-weight: 600; word-break: break-all; }
.masthead .path { margin: 0 0 10px; opacity: 0.75; font-size: 0.85rem; word-break: break-all; }
.facts { display: flex; flex-wrap: wrap; gap: 6px 28px; margin: 0; }
.facts div { display: flex; gap: 8px; align-items: baseline; }
.facts dt { font-size: 0.75rem; text-transform: uppercase; letter-spacing: 0.05em; opacity: 0.7; }
.facts dd { margin: 0; font-weight: 500; }
nav.sections {
  position: sticky; top: 0; z-index: 5; display: flex; flex-wrap: wrap; gap: 2px 4px;
  padding: 6px 28px; background: rgba(255, 255, 255, 0.96); border-bottom: 1px solid var(--line);
}
nav.sections a {
  color: var(--accent); text-decoration: none; padding: 4px 10px; border-radius: 4px;
  font-size: 0.9rem;
}
nav.sections a:hover { background: var(--accent-soft); }
main { padding: 8px 32px 24px; max-width: 1800px; }
section { margin: 18px 0 30px; }
h2 {
  font-size: 1.3rem; font-weight: 600; margin: 0 0 10px; padding-bottom: 6px;
  border-bottom: 2px solid var(--line);
}
h3 { font-size: 1.02rem; font-weight: 600; margin: 18px 0 8px; }
.hint { color: var(--muted); margin: 0 0 12px; font-size: 0.9rem; }
.empty {
  color: var(--muted); font-style: italic; background: var(--paper);
  border: 1px dashed var(--line); border-radius: 6px; padding: 14px 18px;
}
.notice {
  background: var(--warn-soft); color: var(--warn); padding: 10px 14px; border-radius: 6px;
}
.counts { display: grid; grid-template-columns: repeat(auto-fit, minmax(106px, 1fr)); gap: 10px; }
.count {
  background: var(--paper); border: 1px solid var(--line); border-radius: 8px; padding: 10px 14px;
  display: flex; flex-direction: column;
}
.count b { font-size: 1.5rem; font-weight: 600; line-height: 1.2; }
.count span { color: var(--muted); font-size: 0.85rem; }
.count small { color: var(--faint); font-size: 0.78rem; }
.count.alert { border-color: #f0c27a; background: var(--warn-soft); }
.count.alert b { color: var(--warn); }
dl.options {
  display: grid; grid-template-columns: repeat(auto-fill, minmax(260px, 1fr)); gap: 6px 18px;
  margin: 0;
}
dl.options div {
  background: var(--paper); border: 1px solid var(--line); border-radius: 6px; padding: 7px 12px;
}
dl.options dt {
  font-size: 0.75rem; color: var(--muted); text-transform: uppercase; letter-spacing: 0.04em;
}
dl.options dd { margin: 2px 0 0; }
ul.warnings { margin: 0; padding: 0; list-style: none; }
ul.warnings li {
  background: var(--warn-soft); border-left: 4px solid #e0a040; padding: 7px 12px;
  margin-bottom: 6px; border-radius: 0 6px 6px 0;
}

.toolbar { display: flex; flex-wrap: wrap; gap: 10px 22px; align-items: center; margin: 0 0 14px; }
.toolbar:empty { display: none; }
.toolbar .group {
  display: flex; align-items: center; gap: 8px; font-size: 0.85rem; color: var(--muted);
}
.seg { display: inline-flex; border: 1px solid #b9c5d3; border-radius: 6px; overflow: hidden; }
.seg button {
  font: inherit; font-size: 0.85rem; border: 0; background: var(--paper); color: var(--ink);
  padding: 4px 12px; cursor: pointer; border-left: 1px solid #b9c5d3;
}
.seg button:first-child { border-left: 0; }
.seg button:hover { background: var(--accent-soft); }
.seg button.on { background: var(--accent); color: #fff; }
.toolbar label {
  display: flex; align-items: center; gap: 6px; font-size: 0.85rem; cursor: pointer;
}
.toolbar label.disabled { opacity: 0.45; cursor: default; }

.charts {
  display: grid; grid-template-columns: repeat(auto-fill, minmax(560px, 1fr)); gap: 16px;
  margin-bottom: 16px;
}
.card {
  background: var(--paper); border: 1px solid var(--line); border-radius: 8px;
  padding: 12px 14px 10px; margin: 0; min-width: 0;
}
.card header {
  display: flex; justify-content: space-between; align-items: baseline; gap: 12px; flex-wrap: wrap;
}
.card h3 { margin: 0; font-size: 1rem; }
.card h3 .run { color: var(--muted); font-weight: 400; font-size: 0.85rem; margin-left: 6px; }
.card .meta { color: var(--muted); font-size: 0.82rem; }
.card .foot { color: var(--muted); font-size: 0.8rem; margin-top: 4px; }
svg.chart { display: block; width: 100%; height: auto; margin-top: 6px; overflow: visible; }
svg.chart text { font-family: inherit; font-size: 11px; fill: var(--muted); }
svg.chart .grid line { stroke: var(--grid); stroke-width: 1; }
svg.chart .axis line, svg.chart .axis path { stroke: #9aa7b5; stroke-width: 1; fill: none; }
svg.chart text.label { font-size: 12px; fill: var(--ink); }
svg.chart .curve { fill: none; stroke-width: 1.3; stroke-linejoin: round; stroke-linecap: round; }
svg.chart .fit { fill: none; stroke-width: 1.1; stroke-dasharray: 4 3; opacity: 0.9; }
svg.chart .mark { stroke: #fff; stroke-width: 0.8; }
svg.chart .threshold { stroke: #c0392b; stroke-width: 1.2; stroke-dasharray: 6 4; }
svg.chart text.threshold-label { fill: #c0392b; font-size: 10.5px; }
svg.chart .fitline { stroke: #34495e; stroke-width: 1.5; }
svg.chart .tm-window { fill: #2ca02c; opacity: 0.08; }
svg.chart .range { stroke: #2ca02c; stroke-width: 3; opacity: 0.5; }
svg.chart .unity { stroke: #7f8c8d; stroke-width: 1; stroke-dasharray: 3 3; }
svg.chart .errbar { stroke: var(--ink); stroke-width: 1.2; fill: none; }
svg.chart text.equation { fill: var(--ink); font-size: 12px; }
svg.chart text.tm { font-size: 10px; fill: var(--ink); }
svg.chart text.threshold-label, svg.chart text.equation, svg.chart text.tm {
  paint-order: stroke; stroke: #fff; stroke-width: 3px; stroke-linejoin: round;
}
svg.chart .series { transition: opacity 0.1s; }
svg.chart.focus .series { opacity: 0.12; }
svg.chart.focus .series.hl { opacity: 1; }
svg.chart.focus .series.hl .curve { stroke-width: 2.6; }
.legend {
  display: flex; flex-wrap: wrap; gap: 2px 12px; margin-top: 6px; font-size: 0.8rem;
  color: var(--muted);
}
.legend .key {
  display: inline-flex; align-items: center; gap: 5px; cursor: default; padding: 1px 4px;
  border-radius: 3px;
}
.legend .key:hover { background: var(--grid); color: var(--ink); }
.legend .key i { display: inline-block; width: 14px; height: 3px; border-radius: 2px; }
.legend .key i.dot { width: 9px; height: 9px; border-radius: 50%; }
.legend .more { font-style: italic; }

#tooltip {
  position: fixed; z-index: 20; pointer-events: none; background: #17324f; color: #fff;
  padding: 6px 10px; border-radius: 6px; font-size: 0.8rem; max-width: 360px;
  box-shadow: 0 4px 14px rgba(0, 0, 0, 0.2);
}
#tooltip b { display: block; font-size: 0.86rem; }
#tooltip span { display: block; opacity: 0.9; }

.table-wrap {
  overflow: auto; width: fit-content; max-width: 100%; background: var(--paper);
  border: 1px solid var(--line); border-radius: 8px; margin-bottom: 12px;
}
.table-wrap.tall { max-height: 80vh; }
table { border-collapse: collapse; font-size: 0.85rem; }
th, td {
  padding: 5px 12px; text-align: left; border-bottom: 1px solid var(--grid); vertical-align: top;
}
td { max-width: 24em; overflow-wrap: anywhere; }
th.num { text-align: right; }
thead th {
  position: sticky; top: 0; background: #f8fafc; font-weight: 600;
  border-bottom: 1px solid var(--line);
  white-space: nowrap; z-index: 1;
}
table.sortable th { cursor: pointer; user-select: none; }
table.sortable th:hover { background: var(--accent-soft); }
th[aria-sort="ascending"]::after { content: " \25B2"; font-size: 0.7em; color: var(--accent); }
th[aria-sort="descending"]::after { content: " \25BC"; font-size: 0.7em; color: var(--accent); }
tbody tr:nth-child(even) { background: #fafbfd; }
tbody tr:hover { background: var(--accent-soft); }
td.num { text-align: right; font-variant-numeric: tabular-nums; white-space: nowrap; }
td.na { color: var(--faint); }
tr.skipped td { color: var(--faint); }
td.notes { min-width: 16em; max-width: 36em; }
.flag {
  display: inline-block; background: var(--warn-soft); color: var(--warn);
  border: 1px solid #f0c27a; border-radius: 10px; padding: 0 7px; font-size: 0.75rem;
  margin: 0 3px 2px 0; white-space: nowrap;
}
.flag.skip { background: var(--bad-soft); color: var(--bad); border-color: #f2b8b5; }
button.flag { font: inherit; font-size: 0.8rem; cursor: pointer; padding: 1px 9px; }
button.flag:hover { border-color: var(--warn); }
button.flag.on { background: var(--warn); color: #fff; border-color: var(--warn); }
button.flag.skip.on { background: var(--bad); color: #fff; border-color: var(--bad); }
.note { display: block; color: var(--muted); font-size: 0.78rem; }
td.notes:target { background: var(--warn-soft); box-shadow: inset 3px 0 0 #e0a040; }
td.wells-list { color: var(--muted); font-size: 0.8rem; }
.badge {
  display: inline-block; background: var(--accent); color: #fff; border-radius: 8px;
  padding: 0 6px; font-size: 0.68rem; font-weight: 600; vertical-align: 1px; letter-spacing: 0.02em;
}
td.num.used { background: rgba(31, 95, 168, 0.05); font-weight: 500; }
a.why { color: var(--faint); text-decoration: none; white-space: nowrap; }
a.why span, .why-sample {
  color: var(--bad); font-size: 0.72rem; border-bottom: 1px dotted var(--bad); font-weight: 400;
}
a.why:hover span { color: var(--ink); border-bottom-style: solid; }
.filter {
  display: flex; flex-wrap: wrap; align-items: center; gap: 8px; margin: 0 0 10px;
  background: var(--warn-soft); border-radius: 6px; padding: 6px 12px; font-size: 0.88rem;
}
.filter[hidden] { display: none; }
.filter button {
  font: inherit; font-size: 0.82rem; border: 1px solid #b9c5d3; background: var(--paper);
  border-radius: 5px; padding: 2px 10px; cursor: pointer;
}
tbody tr[hidden] { display: none; }
footer { color: var(--faint); font-size: 0.8rem; padding: 12px 32px 28px; }

@media (max-width: 700px) {
  main { padding: 8px 12px; }
  .masthead { padding: 16px; }
  .charts { grid-template-columns: 1fr; }
}
@media print {
  html { font-size: 10pt; }
  body { background: #fff; }
  nav.sections, .toolbar, #tooltip, noscript { display: none !important; }
  .masthead {
    background: #fff; color: var(--ink); border-bottom: 2px solid var(--ink); padding: 0 0 8px;
  }
  main { padding: 0; max-width: none; }
  section { break-before: auto; }
  h2 { break-after: avoid; }
  .charts { grid-template-columns: repeat(2, minmax(0, 1fr)); gap: 8px; }
  .card { break-inside: avoid; border: 1px solid #ccc; }
  .table-wrap, .table-wrap.tall { max-height: none; overflow: visible; border: 0; }
  thead th { position: static; }
  tr { break-inside: avoid; }
  * { -webkit-print-color-adjust: exact; print-color-adjust: exact; }
}
)css";

// The page script. It is careful to show text only through textContent
// and attribute setters, never as markup, so names from the plate file
// cannot inject anything into the page.
inline constexpr const char kReportScript[] = R"js(
(function () {
  'use strict';

  // The SVG namespace as the HTML parser assigns it, rather than spelled out,
  // so that the file contains no URL at all and a plain search for one
  // finds nothing.
  var SVG_NS = (function () {
    var probe = document.createElement('div');
    probe.innerHTML = '<svg></svg>';
    return probe.firstChild.namespaceURI;
  })();
  var data = JSON.parse(document.getElementById('corvel-data').textContent);
  var wells = data.wells || [];
  var chartCount = 0;

  // ----- small helpers -----------------------------------------------------

  function isNum(v) { return typeof v === 'number' && isFinite(v); }

  function minus(text) { return text.replace(/^-/, '\u2212'); }

  function fixed(v, decimals) { return isNum(v) ? minus(v.toFixed(decimals)) : '\u2014'; }

  function sig(v, digits) {
    if (!isNum(v)) return '\u2014';
    var a = Math.abs(v);
    if (a !== 0 && (a >= 1e6 || a < 1e-3)) return minus(v.toExponential(digits - 1));
    return minus(String(Number(v.toPrecision(digits))));
  }

  function el(tag, attrs, parent, text) {
    var node = document.createElement(tag);
    setAttrs(node, attrs);
    if (text !== undefined) node.textContent = text;
    if (parent) parent.appendChild(node);
    return node;
  }

  function svg(tag, attrs, parent, text) {
    var node = document.createElementNS(SVG_NS, tag);
    setAttrs(node, attrs);
    if (text !== undefined) node.textContent = text;
    if (parent) parent.appendChild(node);
    return node;
  }

  function setAttrs(node, attrs) {
    if (!attrs) return;
    Object.keys(attrs).forEach(function (k) {
      if (attrs[k] !== undefined && attrs[k] !== null) node.setAttribute(k, attrs[k]);
    });
  }

  function px(v) { return Math.round(v * 10) / 10; }

  function groupBy(items, keyOf) {
    var order = [], map = new Map();
    items.forEach(function (item) {
      var key = keyOf(item);
      if (!map.has(key)) { map.set(key, []); order.push(key); }
      map.get(key).push(item);
    });
    return order.map(function (k) { return { key: k, items: map.get(k) }; });
  }

  var options = data.options || {};
  var cqName = options.cqMethod === 'sigmoid' ? 'sigmoid' : 'linear';
  function cqOf(w) { return cqName === 'sigmoid' ? w.ctSigmoid : w.ctLinear; }

  var severalRuns = new Set(wells.map(function (w) { return w.run; })
    .concat((data.runs || []).map(function (r) { return r.id; }))).size > 1;

  function title(card, name, run, meta) {
    var head = el('header', null, card);
    var h = el('h3', null, head, name === '' ? '(no target)' : name);
    if (severalRuns && run !== undefined) el('span', { 'class': 'run' }, h, run);
    if (meta) el('div', { 'class': 'meta' }, head, meta);
  }

  // ----- colours ------------------------------------------------------------

  var PALETTE = ['#1f77b4', '#d62728', '#2ca02c', '#ff7f0e', '#9467bd', '#17becf',
    '#8c564b', '#e377c2', '#bcbd22', '#393b79', '#ad494a', '#637939'];
  var TYPE_COLOURS = { unkn: '#1f77b4', std: '#2ca02c', ntc: '#7f7f7f', nac: '#8c564b',
    ntp: '#bcbd22', nrt: '#9467bd', pos: '#d62728', opt: '#ff7f0e' };

  // One colour per key for the whole page, in order of first appearance, so
  // that a sample has the same colour in every chart.
  function palette(keys) {
    var map = new Map();
    keys.forEach(function (k) {
      if (map.has(k)) return;
      var i = map.size;
      map.set(k, i < PALETTE.length ? PALETTE[i]
        : 'hsl(' + Math.round((i * 137.508) % 360) + ', 62%, 42%)');
    });
    return map;
  }
  var colours = {
    sample: palette(wells.map(function (w) { return w.sample; })),
    target: palette(wells.map(function (w) { return w.target; })),
    type: new Map()
  };
  wells.forEach(function (w) {
    if (!colours.type.has(w.sampleType)) {
      colours.type.set(w.sampleType, TYPE_COLOURS[w.sampleType] ||
        PALETTE[(colours.type.size + 5) % PALETTE.length]);
    }
  });
  function keyOf(w, by) {
    return by === 'target' ? w.target : by === 'type' ? w.sampleType : w.sample;
  }
  function colourOf(w, by) { return colours[by].get(keyOf(w, by)) || '#555'; }

  // ----- axes and charts ----------------------------------------------------

  function niceStep(span, count) {
    var raw = span / Math.max(1, count);
    var mag = Math.pow(10, Math.floor(Math.log10(raw)));
    var r = raw / mag;
    return (r <= 1 ? 1 : r <= 2 ? 2 : r <= 2.5 ? 2.5 : r <= 5 ? 5 : 10) * mag;
  }

  // A linear axis over [lo, hi]. Without margin it is widened to whole
  // steps; with a margin (a fraction of the span) it ends that far beyond
  // the data and carries the round ticks that fall inside.
  function linearAxis(lo, hi, count, margin) {
    if (!isNum(lo) || !isNum(hi)) { lo = 0; hi = 1; }
    if (!(hi > lo)) {
      var pad = Math.abs(lo) * 0.1 || 1;
      lo -= pad; hi += pad;
    }
    var step = niceStep(hi - lo, count || 6);
    var a = Math.floor(lo / step + 1e-9), b = Math.ceil(hi / step - 1e-9);
    var axisLo = a * step, axisHi = b * step;
    if (margin !== undefined) {
      axisLo = lo - margin * (hi - lo);
      axisHi = hi + margin * (hi - lo);
      a = Math.ceil(axisLo / step - 1e-9);
      b = Math.floor(axisHi / step + 1e-9);
    }
    var ticks = [];
    for (var k = a; k <= b; ++k) ticks.push(k * step);
    var decimals = Math.max(0, -Math.floor(Math.log10(step) + 1e-9));
    var scaled = step * Math.pow(10, decimals);
    if (Math.abs(scaled - Math.round(scaled)) > 1e-9) decimals += 1;
    // Large fluorescence units read better in thousands and millions.
    var kilo = Math.max(Math.abs(a * step), Math.abs(b * step)) >= 1e5 && step >= 1e3;
    return {
      lo: axisLo, hi: axisHi, ticks: ticks, log: false,
      format: function (v) {
        if (kilo && Math.abs(v) >= 1e6) return minus(String(Number((v / 1e6).toFixed(2)))) + 'M';
        if (kilo) return v === 0 ? '0' : minus(String(Number((v / 1e3).toFixed(1)))) + 'k';
        return minus(v.toFixed(Math.min(decimals, 10)));
      }
    };
  }

  // A base-10 logarithmic axis over whole decades; 2 and 5 marks are added
  // when the span is short.
  function logAxis(lo, hi) {
    var a = Math.floor(Math.log10(lo) + 1e-9), b = Math.ceil(Math.log10(hi) - 1e-9);
    if (b <= a) b = a + 1;
    var ticks = [];
    for (var k = a; k <= b; ++k) {
      ticks.push(Math.pow(10, k));
      if (b - a <= 2 && k < b) { ticks.push(2 * Math.pow(10, k)); ticks.push(5 * Math.pow(10, k)); }
    }
    return {
      lo: Math.pow(10, a), hi: Math.pow(10, b), ticks: ticks, log: true,
      format: function (v) {
        var e = Math.round(Math.log10(v));
        if (Math.abs(v / Math.pow(10, e) - 1) > 1e-9 || (e >= -2 && e <= 3)) return sig(v, 3);
        return null;  // drawn as a power of ten
      }
    };
  }

  // The frame of a chart: grid, axes and labels. Returns the plot group and
  // the scales from data to SVG coordinates.
  function makeChart(parent, o) {
    var W = o.width || 640, H = o.height || 360;
    var m = { l: 66, r: 18, t: 12, b: 44 };
    var pw = W - m.l - m.r, ph = H - m.t - m.b;
    var root = svg('svg', { viewBox: '0 0 ' + W + ' ' + H, 'class': 'chart', role: 'img',
      'aria-label': o.label || '' }, parent);
    ++chartCount;
    var xa = o.x, ya = o.y;
    function scale(axis, v, r0, span) {
      if (axis.log) {
        var l0 = Math.log10(axis.lo), l1 = Math.log10(axis.hi);
        return r0 + (Math.log10(v) - l0) / (l1 - l0) * span;
      }
      return r0 + (v - axis.lo) / (axis.hi - axis.lo) * span;
    }
    var X = o.xBand ? o.xBand(m.l, pw) : function (v) { return scale(xa, v, m.l, pw); };
    var Y = function (v) { return scale(ya, v, m.t + ph, -ph); };

    var grid = svg('g', { 'class': 'grid' }, root);
    var axes = svg('g', { 'class': 'axis' }, root);
    ya.ticks.forEach(function (t) {
      var y = px(Y(t));
      if (y < m.t - 0.5 || y > m.t + ph + 0.5) return;
      svg('line', { x1: m.l, x2: m.l + pw, y1: y, y2: y }, grid);
      svg('line', { x1: m.l - 4, x2: m.l, y1: y, y2: y }, axes);
      var label = ya.format(t);
      var text = svg('text', { x: m.l - 7, y: y + 3.5, 'text-anchor': 'end' }, root,
        label === null ? '10' : label);
      if (label === null) svg('tspan', { dy: -5, 'font-size': '8px' }, text,
        minus(String(Math.round(Math.log10(t)))));
    });
    if (xa) {
      xa.ticks.forEach(function (t) {
        var x = px(X(t));
        if (x < m.l - 0.5 || x > m.l + pw + 0.5) return;
        svg('line', { x1: x, x2: x, y1: m.t, y2: m.t + ph }, grid);
        svg('line', { x1: x, x2: x, y1: m.t + ph, y2: m.t + ph + 4 }, axes);
        svg('text', { x: x, y: m.t + ph + 16, 'text-anchor': 'middle' }, root, xa.format(t));
      });
    }
    svg('path', { d: 'M' + m.l + ' ' + m.t + 'V' + (m.t + ph) + 'H' + (m.l + pw) }, axes);
    if (o.xLabel) {
      svg('text', { x: m.l + pw / 2, y: H - 6, 'text-anchor': 'middle', 'class': 'label' }, root,
        o.xLabel);
    }
    if (o.yLabel) {
      svg('text', { x: 0, y: 0, 'text-anchor': 'middle', 'class': 'label',
        transform: 'translate(13 ' + (m.t + ph / 2) + ') rotate(-90)' }, root, o.yLabel);
    }
    var plot = svg('g', { 'class': 'plot' }, root);
    return { svg: root, plot: plot, X: X, Y: Y, m: m, pw: pw, ph: ph, W: W, H: H };
  }

  // Pixel points of a series. Points with a null value break the line;
  // clamp, when given, pulls values below the axis up to its floor (log
  // axes). Long series are thinned to the first, lowest, highest and last
  // point of each pixel column, which draws the same picture.
  function points(xs, ys, c, clamp) {
    var out = [];
    for (var i = 0; i < ys.length; ++i) {
      var x = xs[i], y = ys[i];
      if (!isNum(x) || !isNum(y)) { out.push(null); continue; }
      if (clamp !== undefined && y < clamp) y = clamp;
      out.push([c.X(x), c.Y(y)]);
    }
    if (out.length <= 2 * c.pw) return out;
    var thin = [], column = null, bucket = [];
    function flush() {
      if (!bucket.length) return;
      var lo = bucket[0], hi = bucket[0];
      bucket.forEach(function (p) { if (p[1] < lo[1]) lo = p; if (p[1] > hi[1]) hi = p; });
      var keep = [bucket[0], lo, hi, bucket[bucket.length - 1]];
      keep.sort(function (a, b) { return a[0] - b[0]; });
      keep.forEach(function (p, k) { if (k === 0 || p !== keep[k - 1]) thin.push(p); });
      bucket = [];
    }
    out.forEach(function (p) {
      if (p === null) { flush(); thin.push(null); column = null; return; }
      var col = Math.floor(p[0]);
      if (col !== column) { flush(); column = col; }
      bucket.push(p);
    });
    flush();
    return thin;
  }

  function pathData(pts) {
    var d = '', pen = false;
    pts.forEach(function (p) {
      if (p === null) { pen = false; return; }
      d += (pen ? 'L' : 'M') + px(p[0]) + ' ' + px(p[1]);
      pen = true;
    });
    return d;
  }

  // ----- tooltip and highlighting -----------------------------------------

  var tooltip = document.getElementById('tooltip');

  function showTip(event, lines) {
    tooltip.textContent = '';
    lines.forEach(function (line, i) { el(i === 0 ? 'b' : 'span', null, tooltip, line); });
    tooltip.hidden = false;
    var x = event.clientX + 14, y = event.clientY + 14;
    var r = tooltip.getBoundingClientRect();
    if (x + r.width > window.innerWidth - 8) x = event.clientX - r.width - 14;
    if (y + r.height > window.innerHeight - 8) y = event.clientY - r.height - 14;
    tooltip.style.left = x + 'px';
    tooltip.style.top = y + 'px';
  }

  function hideTip() { tooltip.hidden = true; }

  function focus(c, list) {
    c.series.forEach(function (s) { s.group.classList.remove('hl'); });
    if (!list || !list.length) { c.svg.classList.remove('focus'); return; }
    c.svg.classList.add('focus');
    list.forEach(function (s) {
      s.group.classList.add('hl');
      s.group.parentNode.appendChild(s.group);
    });
  }

  function wellLines(w) {
    var head = 'Well ' + w.well + (severalRuns ? ' \u00b7 ' + w.run : '');
    return [head, 'Sample ' + w.sample + ' (' + w.sampleType + ')', 'Target ' + w.target];
  }

  // Hovering a chart picks the series whose line passes closest to the
  // pointer (vertically, at the pointer's x), within a few pixels.
  function hoverSeries(c, describe) {
    c.svg.addEventListener('mousemove', function (event) {
      var ctm = c.svg.getScreenCTM();
      if (!ctm) return;
      var p = c.svg.createSVGPoint();
      p.x = event.clientX; p.y = event.clientY;
      p = p.matrixTransform(ctm.inverse());
      var best = null, bestDistance = 10;
      c.series.forEach(function (s) {
        var y = yAt(s.pts, p.x);
        if (y === null) return;
        var d = Math.abs(y - p.y);
        if (d < bestDistance) { bestDistance = d; best = s; }
      });
      if (!best) { focus(c, null); hideTip(); return; }
      focus(c, [best]);
      showTip(event, describe(best));
    });
    c.svg.addEventListener('mouseleave', function () { focus(c, null); hideTip(); });
  }

  function yAt(pts, x) {
    for (var i = 1; i < pts.length; ++i) {
      var a = pts[i - 1], b = pts[i];
      if (a === null || b === null) continue;
      if ((a[0] <= x && x <= b[0]) || (b[0] <= x && x <= a[0])) {
        return b[0] === a[0] ? a[1] : a[1] + (b[1] - a[1]) * (x - a[0]) / (b[0] - a[0]);
      }
    }
    return null;
  }

  // A legend of the colour keys of a chart; pointing at a key highlights its
  // series.
  function legend(card, c, by, marker) {
    var groups = groupBy(c.series, function (s) { return keyOf(s.well, by); });
    var box = el('div', { 'class': 'legend' }, card);
    var limit = 30;
    groups.slice(0, limit).forEach(function (g) {
      var key = el('span', { 'class': 'key' }, box);
      var swatch = el('i', marker === 'dot' ? { 'class': 'dot' } : null, key);
      swatch.style.background = colourOf(g.items[0].well, by);
      el('span', null, key, (g.key === '' ? '(none)' : g.key) + ' (' + g.items.length + ')');
      key.addEventListener('mouseenter', function () { focus(c, g.items); });
      key.addEventListener('mouseleave', function () { focus(c, null); });
    });
    if (groups.length > limit) {
      el('span', { 'class': 'more' }, box, '+ ' + (groups.length - limit) + ' more');
    }
  }

  // Segmented buttons and check boxes that set a field of state and redraw.
  function toolbar(host, state, controls, redraw) {
    if (!host) return;
    host.textContent = '';
    var inputs = [];
    controls.forEach(function (ctl) {
      var group = el('div', { 'class': 'group' }, host);
      if (ctl.options) {
        el('span', null, group, ctl.label);
        var seg = el('div', { 'class': 'seg', role: 'group', 'aria-label': ctl.label }, group);
        ctl.options.forEach(function (opt) {
          var b = el('button', { type: 'button', 'data-value': opt[0] }, seg, opt[1]);
          if (state[ctl.key] === opt[0]) b.classList.add('on');
          b.addEventListener('click', function () {
            state[ctl.key] = opt[0];
            Array.prototype.forEach.call(seg.children, function (x) {
              x.classList.toggle('on', x === b);
            });
            update(); redraw();
          });
        });
      } else {
        var label = el('label', null, group);
        var box = el('input', { type: 'checkbox' }, label);
        box.checked = !!state[ctl.key];
        label.appendChild(document.createTextNode(ctl.label));
        box.addEventListener('change', function () { state[ctl.key] = box.checked; redraw(); });
        inputs.push({ ctl: ctl, box: box, label: label });
      }
    });
    function update() {
      inputs.forEach(function (i) {
        var off = i.ctl.enabled && !i.ctl.enabled();
        i.box.disabled = !!off;
        i.label.classList.toggle('disabled', !!off);
        i.label.title = off ? i.ctl.disabledHint : '';
      });
    }
    update();
  }

  // ----- amplification ------------------------------------------------------

  var amp = { curve: 'processed', scale: 'linear', colour: 'sample', fit: false };

  function cycleOf(i) { return i + 1; }

  function interpolate(values, cycle) {
    var i = cycle - 1, k = Math.floor(i);
    if (k < 0 || k >= values.length) return null;
    var a = values[k], b = k + 1 < values.length ? values[k + 1] : a;
    if (!isNum(a) || !isNum(b)) return null;
    return a + (b - a) * (i - k);
  }

  function ampCard(host, g) {
    var members = g.wells.map(function (i) { return wells[i]; }).filter(Boolean);
    var drawn = members.filter(function (w) { return w.curves && w.curves.raw.length; });
    var thr = g.threshold;
    var card = el('figure', { 'class': 'card', 'data-group': g.run + '/' + g.target }, host);
    var crossed = drawn.filter(function (w) { return isNum(w.ctLinear); }).length;
    title(card, g.target, g.run, members.length + ' wells \u00b7 ' + crossed +
      ' with Ct \u00b7 threshold ' + sig(thr, 4) +
      (g.thresholdFromUser ? ' (fixed)' : ' (automatic)'));
    if (!drawn.length) {
      el('p', { 'class': 'empty' }, card, 'No curve in this group could be analysed.');
      return;
    }

    var processed = amp.curve === 'processed';
    var useLog = amp.scale === 'log';
    var seriesOf = function (w) { return processed ? w.curves.processed : w.curves.raw; };
    var showFit = amp.fit && processed;
    var lo = Infinity, hi = -Infinity, minPositive = Infinity, cycles = 1;
    drawn.forEach(function (w) {
      var lists = [seriesOf(w)];
      if (showFit) lists.push(w.curves.sigmoidFit);
      lists.forEach(function (ys) {
        cycles = Math.max(cycles, ys.length);
        ys.forEach(function (y) {
          if (!isNum(y)) return;
          if (y < lo) lo = y;
          if (y > hi) hi = y;
          if (y > 0 && y < minPositive) minPositive = y;
        });
      });
    });
    cycles = Math.max(cycles, g.cycles || 0);
    if (processed && isNum(thr)) { lo = Math.min(lo, thr); hi = Math.max(hi, thr); }

    var yAxis, clamp;
    if (useLog) {
      if (!(hi > 0)) { hi = 1; minPositive = 0.1; }
      var floor = Math.max(minPositive, hi * 1e-5);
      if (processed && isNum(thr) && thr > 0) floor = Math.min(floor, thr / 10);
      yAxis = logAxis(floor, hi);
      clamp = yAxis.lo;
    } else {
      yAxis = linearAxis(lo, hi, 6, 0.04);
    }
    var c = makeChart(card, {
      x: linearAxis(0, cycles, 8, 0), y: yAxis, xLabel: 'Cycle',
      yLabel: (processed ? 'Processed fluorescence' : 'Raw fluorescence') +
        (useLog ? ' (log)' : ''),
      label: 'Amplification curves of ' + g.target
    });
    c.series = [];

    if (processed && isNum(thr) && (!useLog || thr > 0)) {
      var ty = px(c.Y(thr));
      svg('line', { x1: c.m.l, x2: c.m.l + c.pw, y1: ty, y2: ty, 'class': 'threshold' }, c.svg);
      svg('text', { x: c.m.l + c.pw - 4, y: ty - 5, 'text-anchor': 'end',
        'class': 'threshold-label' }, c.svg, 'threshold ' + sig(thr, 4));
    }

    drawn.forEach(function (w) {
      var colour = colourOf(w, amp.colour);
      var ys = seriesOf(w);
      var xs = ys.map(function (_, i) { return cycleOf(i); });
      var group = svg('g', { 'class': 'series' }, c.plot);
      var pts = points(xs, ys, c, clamp);
      svg('path', { d: pathData(pts), 'class': 'curve', stroke: colour }, group);
      if (showFit && w.curves.sigmoidFit.length) {
        var fit = w.curves.sigmoidFit;
        var fitPts = points(fit.map(function (_, i) { return cycleOf(i); }), fit, c, clamp);
        svg('path', { d: pathData(fitPts), 'class': 'fit', stroke: colour }, group);
      }
      if (isNum(w.ctLinear)) {
        var my = processed ? thr : interpolate(ys, w.ctLinear);
        if (isNum(my) && (!useLog || my > 0)) {
          svg('circle', { cx: px(c.X(w.ctLinear)), cy: px(c.Y(Math.max(my, clamp || my))), r: 3.2,
            fill: colour, 'class': 'mark' }, group);
        }
      }
      c.series.push({ well: w, group: group, pts: pts });
    });

    hoverSeries(c, function (s) {
      var w = s.well, lines = wellLines(w);
      lines.push('Ct ' + fixed(w.ctLinear, 2) + ' (linear) \u00b7 ' + fixed(w.ctSigmoid, 2) +
        ' (sigmoid); statistics use ' + cqName);
      if (isNum(w.quantity)) lines.push('Quantity ' + sig(w.quantity, 4));
      if (w.flags.length) lines.push('Flags: ' + w.flags.join(', '));
      // The reasons too when the Ct the statistics use is missing.
      if (!isNum(cqOf(w))) {
        w.notes.slice(0, 3).forEach(function (note) { lines.push(note); });
      }
      return lines;
    });
    legend(card, c, amp.colour, 'line');
    if (drawn.length < members.length) {
      el('div', { 'class': 'foot' }, card, (members.length - drawn.length) +
        ' well(s) of this group have no analysed curve; see the wells table.');
    }
  }

  function renderAmplification() {
    var host = document.getElementById('amp-charts');
    if (!host) return;
    host.textContent = '';
    (data.groups || []).forEach(function (g) { ampCard(host, g); });
  }

  // ----- standard curves ----------------------------------------------------

  function standardCard(host, sc) {
    var card = el('figure', { 'class': 'card' }, host);
    var meta = sc.ct.length + ' standard points \u00b7 Ct ' + cqName;
    if (isNum(sc.log10QuantityMin) && isNum(sc.log10QuantityMax)) {
      meta += ' \u00b7 linear range log\u2081\u2080 q ' + fixed(sc.log10QuantityMin, 1) +
        '\u2013' + fixed(sc.log10QuantityMax, 1);
    }
    title(card, sc.target, sc.run, meta);
    var xs = [], ys = [];
    sc.log10Quantity.forEach(function (x, i) {
      if (isNum(x) && isNum(sc.ct[i])) { xs.push(x); ys.push(sc.ct[i]); }
    });
    // Unknowns of the same run and target, placed by the quantity read off
    // this curve.
    var unknowns = wells.filter(function (w) {
      return w.run === sc.run && w.target === sc.target && w.sampleType !== 'std' &&
        isNum(w.quantity) && w.quantity > 0 && isNum(cqOf(w));
    });
    var allX = xs.concat(unknowns.map(function (w) { return Math.log10(w.quantity); }));
    var allY = ys.concat(unknowns.map(function (w) { return cqOf(w); }));
    if (!allX.length) {
      el('p', { 'class': 'empty' }, card, sc.note || 'No standard point with a Ct.');
      return;
    }
    var xlo = Math.min.apply(null, allX), xhi = Math.max.apply(null, allX);
    var xpad = (xhi - xlo) * 0.06 || 0.5;
    var line = isNum(sc.slope) && isNum(sc.intercept);
    if (line) {
      // The fitted line spans the chart; its ends set the Ct range too.
      allY.push(sc.slope * (xlo - xpad) + sc.intercept, sc.slope * (xhi + xpad) + sc.intercept);
    }
    var ylo = Math.min.apply(null, allY), yhi = Math.max.apply(null, allY);
    var ypad = (yhi - ylo) * 0.04 || 1;
    var c = makeChart(card, {
      x: linearAxis(xlo - xpad, xhi + xpad, 7, 0), y: linearAxis(ylo - ypad, yhi + ypad, 6, 0),
      xLabel: 'log\u2081\u2080 quantity', yLabel: 'Ct, ' + cqName + ' (cycles)',
      label: 'Standard curve of ' + sc.target
    });
    c.series = [];
    if (line) {
      var x0 = xlo - xpad, x1 = xhi + xpad;
      svg('line', { x1: px(c.X(x0)), y1: px(c.Y(sc.slope * x0 + sc.intercept)),
        x2: px(c.X(x1)), y2: px(c.Y(sc.slope * x1 + sc.intercept)), 'class': 'fitline' }, c.plot);
    }
    xs.forEach(function (x, i) {
      var dot = svg('circle', { cx: px(c.X(x)), cy: px(c.Y(ys[i])), r: 4.5, fill: '#2ca02c',
        'class': 'mark' }, c.plot);
      svg('title', null, dot, 'Standard: log\u2081\u2080 q = ' + sig(x, 4) + ', Ct = ' +
        fixed(ys[i], 2));
    });
    if (line && isNum(sc.log10QuantityMin) && isNum(sc.log10QuantityMax)) {
      // The linear range fitted, as a band along the foot of the plot.
      var foot = c.m.t + c.ph - 2;
      svg('line', { x1: px(c.X(sc.log10QuantityMin)), x2: px(c.X(sc.log10QuantityMax)),
        y1: foot, y2: foot, 'class': 'range' }, c.plot);
    }
    unknowns.forEach(function (w) {
      var x = px(c.X(Math.log10(w.quantity))), y = px(c.Y(cqOf(w)));
      var diamond = 'M' + x + ' ' + (y - 5) + 'L' + (x + 5) + ' ' + y + 'L' + x + ' ' + (y + 5) +
        'L' + (x - 5) + ' ' + y + 'Z';
      var d = svg('path', { d: diamond, fill: 'none', stroke: '#1f77b4', 'stroke-width': 1.4 },
        c.plot);
      svg('title', null, d, 'Well ' + w.well + ', ' + w.sample + ': quantity ' +
        sig(w.quantity, 4) + ', Ct ' + fixed(cqOf(w), 2));
    });
    var lines = [];
    if (isNum(sc.slope)) {
      lines.push('y = ' + fixed(sc.slope, 4) + ' x ' + (sc.intercept < 0 ? '\u2212 ' : '+ ') +
        fixed(Math.abs(sc.intercept), 3));
    }
    if (isNum(sc.efficiency)) {
      var e = 'E = ' + fixed(sc.efficiency * 100, 1) + ' %';
      if (isNum(sc.efficiencyLow) && isNum(sc.efficiencyHigh)) {
        e += ' (' + fixed(sc.efficiencyLow * 100, 1) + '\u2013' +
          fixed(sc.efficiencyHigh * 100, 1) + ' %)';
      } else if (isNum(sc.efficiencyLow)) {
        e += ' (\u2265 ' + fixed(sc.efficiencyLow * 100, 1) + ' %)';
      }
      lines.push(e);
    }
    if (isNum(sc.rSquared)) lines.push('R\u00b2 = ' + fixed(sc.rSquared, 4));
    // The fitted line falls to the right, so the free corner is top right.
    lines.forEach(function (line, i) {
      svg('text', { x: c.m.l + c.pw - 8, y: c.m.t + 18 + i * 17, 'text-anchor': 'end',
        'class': 'equation' }, c.svg, line);
    });
    var box = el('div', { 'class': 'legend' }, card);
    var k1 = el('span', { 'class': 'key' }, box);
    el('i', { 'class': 'dot' }, k1).style.background = '#2ca02c';
    el('span', null, k1, 'standards');
    if (line && isNum(sc.log10QuantityMin) && isNum(sc.log10QuantityMax)) {
      var kr = el('span', { 'class': 'key' }, box);
      el('i', null, kr).style.background = '#9fd49f';
      el('span', null, kr, 'linear range');
    }
    if (unknowns.length) {
      var k2 = el('span', { 'class': 'key' }, box);
      var sw = el('i', { 'class': 'dot' }, k2);
      sw.style.border = '1.5px solid #1f77b4';
      el('span', null, k2, 'other wells by their quantity (' + unknowns.length + ')');
    }
    if (sc.note) el('div', { 'class': 'foot' }, card, sc.note);
  }

  function renderStandards() {
    var host = document.getElementById('std-charts');
    if (!host) return;
    host.textContent = '';
    (data.standardCurves || []).forEach(function (sc) { standardCard(host, sc); });
  }

  // ----- relative quantities -----------------------------------------------

  function quantityCard(host, run, target, list) {
    var card = el('figure', { 'class': 'card' }, host);
    title(card, target, run, list.length + ' samples \u00b7 ' + methodOf(list));
    var values = [1];
    list.forEach(function (q) {
      [q.rq, q.lower, q.upper].forEach(function (v) { if (isNum(v) && v > 0) values.push(v); });
    });
    var lo = Math.min.apply(null, values), hi = Math.max.apply(null, values);
    var yAxis = logAxis(lo / 1.2, hi * 1.2);
    var n = list.length;
    var c = makeChart(card, {
      x: null, y: yAxis, yLabel: 'RQ (log)', height: 320,
      label: 'Relative quantities of ' + target,
      xBand: function (left, width) {
        return function (i) { return left + (i + 0.5) * width / n; };
      }
    });
    var band = c.pw / n, barWidth = Math.min(46, band * 0.6);
    var base = c.Y(1);
    svg('line', { x1: c.m.l, x2: c.m.l + c.pw, y1: px(base), y2: px(base), 'class': 'unity' },
      c.svg);
    var rotate = band < 70;
    list.forEach(function (q, i) {
      var cx = c.X(i);
      var label = svg('text', { x: px(cx), y: c.m.t + c.ph + 16,
        'text-anchor': rotate ? 'end' : 'middle',
        transform: rotate ? 'rotate(-35 ' + px(cx) + ' ' + (c.m.t + c.ph + 12) + ')' : null },
        c.svg, q.sample.length > 18 ? q.sample.slice(0, 17) + '\u2026' : q.sample);
      svg('title', null, label, q.sample);
      if (!isNum(q.rq) || q.rq <= 0) {
        svg('text', { x: px(cx), y: px(base) - 6, 'text-anchor': 'middle' }, c.svg, 'n/a');
        return;
      }
      var y = c.Y(q.rq);
      var bar = svg('rect', { x: px(cx - barWidth / 2), y: px(Math.min(y, base)),
        width: px(barWidth), height: px(Math.max(1, Math.abs(base - y))),
        fill: colours.target.get(target) || '#1f77b4', opacity: 0.85 }, c.plot);
      svg('title', null, bar, q.sample + ': RQ ' + sig(q.rq, 4) + ' [' + sig(q.lower, 4) + ', ' +
        sig(q.upper, 4) + '], \u0394\u0394Ct ' + fixed(q.deltaDeltaCt, 3) + ' (' + q.method + ')');
      if (isNum(q.lower) && isNum(q.upper) && q.lower > 0 && q.upper > 0) {
        var y0 = px(c.Y(q.lower)), y1 = px(c.Y(q.upper)), w = barWidth / 4;
        svg('path', { d: 'M' + px(cx) + ' ' + y0 + 'V' + y1 + 'M' + px(cx - w) + ' ' + y0 + 'H' +
          px(cx + w) + 'M' + px(cx - w) + ' ' + y1 + 'H' + px(cx + w), 'class': 'errbar' }, c.plot);
      }
    });
    if (rotate) c.svg.setAttribute('viewBox', '0 0 ' + c.W + ' ' + (c.H + 40));
  }

  // The method of a chart's quantities as its title says it: "ΔΔCt, factor
  // 2", or "Pfaffl" with the factors when they are the same for every sample.
  function methodOf(list) {
    var pfaffl = list.filter(function (q) { return q.method === 'Pfaffl'; });
    if (!pfaffl.length) return '\u0394\u0394Ct, factor 2';
    var text = 'Pfaffl';
    var first = pfaffl[0];
    var same = pfaffl.every(function (q) {
      return q.targetFactor === first.targetFactor && q.referenceFactor === first.referenceFactor;
    });
    if (same && isNum(first.targetFactor) && isNum(first.referenceFactor)) {
      text += ', factors ' + fixed(first.targetFactor, 3) + ' (target), ' +
        fixed(first.referenceFactor, 3) + ' (reference)';
    }
    if (pfaffl.length < list.length) text += '; \u0394\u0394Ct for the rest';
    return text;
  }

  function renderQuantities() {
    var host = document.getElementById('rq-charts');
    if (!host) return;
    host.textContent = '';
    groupBy(data.relativeQuantities || [], function (q) { return q.run + '\u0000' + q.target; })
      .forEach(function (g) { quantityCard(host, g.items[0].run, g.items[0].target, g.items); });
  }

  // ----- melting ------------------------------------------------------------

  var melt = { colour: 'sample', fitted: true, height: 'computed' };

  // The factor a well's curves and peak heights are drawn with: 1, or one
  // over its tallest value when every curve is scaled to a peak of 1.
  function meltScale(w) {
    if (melt.height !== 'tallest') return 1;
    var top = 0;
    w.melt.normalized.forEach(function (y) { if (isNum(y) && y > top) top = y; });
    return top > 0 ? 1 / top : 1;
  }

  function scaled(values, k) {
    return k === 1 ? values : values.map(function (v) { return isNum(v) ? v * k : v; });
  }

  function meltCard(host, run, target, members) {
    var card = el('figure', { 'class': 'card' }, host);
    var drawn = members.filter(function (w) {
      return w.melt.temperatures.length && w.melt.normalized.length;
    });
    var main = drawn.map(function (w) { return w.melt.peaks.length ? w.melt.peaks[0].tm : null; })
      .filter(isNum);
    var meta = members.length + ' wells';
    if (main.length) {
      var mean = main.reduce(function (a, b) { return a + b; }, 0) / main.length;
      var sd = main.length > 1 ? Math.sqrt(main.reduce(function (a, b) {
        return a + (b - mean) * (b - mean);
      }, 0) / (main.length - 1)) : 0;
      meta += ' \u00b7 main Tm ' + fixed(mean, 2) +
        (main.length > 1 ? ' \u00b1 ' + fixed(sd, 2) : '') + ' \u00b0C';
    }
    title(card, target, run, meta);
    if (!drawn.length) {
      el('p', { 'class': 'empty' }, card, 'No melting curve of this target could be analysed.');
      return;
    }
    var tlo = Infinity, thi = -Infinity, ylo = 0, yhi = -Infinity;
    drawn.forEach(function (w) {
      w.melt.temperatures.forEach(function (t) {
        if (isNum(t)) { tlo = Math.min(tlo, t); thi = Math.max(thi, t); }
      });
      var k = meltScale(w);
      var lists = [w.melt.normalized];
      if (melt.fitted) lists.push(w.melt.fitted);
      lists.forEach(function (ys) {
        ys.forEach(function (y) {
          if (isNum(y)) { ylo = Math.min(ylo, y * k); yhi = Math.max(yhi, y * k); }
        });
      });
    });
    var labelPeaks = drawn.length <= 8;
    var c = makeChart(card, {
      x: linearAxis(tlo, thi, 8, 0), y: linearAxis(ylo, yhi * (labelPeaks ? 1.12 : 1.06), 5, 0.02),
      xLabel: 'Temperature (\u00b0C)',
      yLabel: melt.height === 'tallest' ? '\u2212dF/dT (tallest value = 1)' : '\u2212dF/dT',
      label: 'Melting curves of ' + target
    });
    c.series = [];
    // The expected Tm range, when one was given, shaded behind the curves.
    var wlo = isNum(options.tmMin) ? Math.max(options.tmMin, tlo) : tlo;
    var whi = isNum(options.tmMax) ? Math.min(options.tmMax, thi) : thi;
    if ((isNum(options.tmMin) || isNum(options.tmMax)) && whi > wlo) {
      var band = svg('rect', { x: px(c.X(wlo)), y: c.m.t, width: px(c.X(whi) - c.X(wlo)),
        height: c.ph, 'class': 'tm-window' }, c.plot);
      svg('title', null, band, 'Expected Tm ' + (!isNum(options.tmMax) ? 'from ' +
        fixed(options.tmMin, 1) : !isNum(options.tmMin) ? 'up to ' + fixed(options.tmMax, 1)
        : fixed(options.tmMin, 1) + '\u2013' + fixed(options.tmMax, 1)) + ' \u00b0C');
    }
    var labels = [];  // placed Tm labels, so that equal peaks are labelled once
    drawn.forEach(function (w) {
      var colour = colourOf(w, melt.colour);
      var group = svg('g', { 'class': 'series' }, c.plot);
      var k = meltScale(w);
      var pts = points(w.melt.temperatures, scaled(w.melt.normalized, k), c);
      svg('path', { d: pathData(pts), 'class': 'curve', stroke: colour }, group);
      if (melt.fitted && w.melt.fitted.length) {
        svg('path', { d: pathData(points(w.melt.temperatures, scaled(w.melt.fitted, k), c)),
          'class': 'fit', stroke: colour }, group);
      }
      w.melt.peaks.forEach(function (p) {
        if (!isNum(p.tm) || p.tm < tlo || p.tm > thi) return;
        var tx = px(c.X(p.tm)), ty = px(c.Y(isNum(p.height) ? p.height * k : 0)) - 4;
        var triangle = 'M' + (tx - 4) + ' ' + (ty - 7) + 'H' + (tx + 4) + 'L' + tx + ' ' + ty + 'Z';
        svg('path', { d: triangle, fill: colour, 'class': 'mark' }, group);
        var free = labels.every(function (l) {
          return Math.abs(l[0] - tx) > 28 || Math.abs(l[1] - ty) > 14;
        });
        if (labelPeaks && free) {
          labels.push([tx, ty]);
          svg('text', { x: tx, y: ty - 10, 'text-anchor': 'middle', 'class': 'tm' }, c.svg,
            fixed(p.tm, 1));
        }
      });
      c.series.push({ well: w, group: group, pts: pts });
    });
    hoverSeries(c, function (s) {
      var w = s.well, lines = wellLines(w);
      var tms = w.melt.peaks.map(function (p) { return fixed(p.tm, 2); });
      lines.push(tms.length ? 'Tm ' + tms.join(', ') + ' \u00b0C' : 'No fitted peak');
      if (w.melt.note) lines.push(w.melt.note);
      return lines;
    });
    legend(card, c, melt.colour, 'line');
    if (drawn.length < members.length) {
      el('div', { 'class': 'foot' }, card, (members.length - drawn.length) +
        ' well(s) have melting readings but no curve; see the melting peaks table.');
    }
  }

  function renderMelting() {
    var host = document.getElementById('melt-charts');
    if (!host) return;
    host.textContent = '';
    var withMelt = wells.filter(function (w) { return w.melt; });
    groupBy(withMelt, function (w) { return w.run + '\u0000' + w.target; }).forEach(function (g) {
      meltCard(host, g.items[0].run, g.items[0].target, g.items);
    });
  }

  // ----- sortable tables ----------------------------------------------------

  function sortable(table) {
    var heads = table.tHead ? table.tHead.rows[0].cells : [];
    Array.prototype.forEach.call(heads, function (th, column) {
      th.title = 'Sort by ' + th.textContent;
      th.addEventListener('click', function () {
        var ascending = th.getAttribute('aria-sort') !== 'ascending';
        Array.prototype.forEach.call(heads, function (h) { h.removeAttribute('aria-sort'); });
        th.setAttribute('aria-sort', ascending ? 'ascending' : 'descending');
        var body = table.tBodies[0];
        var rows = Array.prototype.slice.call(body.rows);
        var keyed = rows.map(function (row, index) {
          var cell = row.cells[column];
          var v = cell ? cell.getAttribute('data-v') : null;
          return { row: row, index: index, num: v === null ? null : v === '' ? NaN : Number(v),
            text: cell ? cell.textContent : '' };
        });
        var collator = new Intl.Collator(undefined, { numeric: true, sensitivity: 'base' });
        keyed.sort(function (a, b) {
          var r;
          if (a.num !== null && b.num !== null) {
            // Empty values go last in both directions.
            if (isNaN(a.num) || isNaN(b.num)) {
              return isNaN(a.num) - isNaN(b.num) || a.index - b.index;
            }
            r = a.num - b.num;
          } else {
            r = collator.compare(a.text, b.text);
          }
          return (ascending ? r : -r) || a.index - b.index;
        });
        keyed.forEach(function (k) { body.appendChild(k.row); });
      });
    });
  }

  // ----- flag filter --------------------------------------------------------

  // Clicking a flag of the summary's flag table shows only the wells that
  // carry it in the wells table; clicking it again, or "Show all wells",
  // shows every well again.
  function flagFilter() {
    var table = document.getElementById('well-table');
    var panel = document.getElementById('flag-table');
    var status = document.getElementById('well-filter');
    if (!table || !panel || !status) return;
    var buttons = Array.prototype.slice.call(panel.querySelectorAll('button.flag'));
    var active = null;
    function carries(w, button) {
      if (button.hasAttribute('data-skip')) return !w.analyzed;
      return (w.flags || []).indexOf(button.getAttribute('data-flag')) >= 0;
    }
    function apply(button) {
      active = button;
      var shown = 0;
      Array.prototype.forEach.call(table.tBodies[0].rows, function (row) {
        var w = wells[Number(row.getAttribute('data-well'))];
        var show = !button || (w !== undefined && carries(w, button));
        row.hidden = !show;
        if (show) ++shown;
      });
      buttons.forEach(function (b) {
        b.classList.toggle('on', b === button);
        b.setAttribute('aria-pressed', b === button ? 'true' : 'false');
      });
      status.textContent = '';
      status.hidden = !button;
      if (!button) return;
      el('span', null, status, 'Showing the ' + shown + (shown === 1 ? ' well' : ' wells') +
        ' flagged \u201c' + button.getAttribute('data-flag') + '\u201d.');
      el('button', { type: 'button' }, status, 'Show all wells')
        .addEventListener('click', function () { apply(null); });
    }
    buttons.forEach(function (b) {
      b.setAttribute('aria-pressed', 'false');
      b.title = 'Show only these wells in the wells table';
      b.addEventListener('click', function (event) {
        event.stopPropagation();
        apply(active === b ? null : b);
        if (active) document.getElementById('wells').scrollIntoView();
      });
    });
  }

  // ----- page ---------------------------------------------------------------

  // The initial view can be chosen in the URL, e.g. report.html?scale=log&fit=1:
  // curve=raw|processed, scale=linear|log, colour=sample|target|type (both
  // chart kinds), fit=0|1 (sigmoid fit), height=computed|tallest (melting
  // curves as computed or each scaled to a peak of 1), fitted=0|1 (fitted
  // melting peaks).
  (function () {
    var q = new URLSearchParams(window.location.search);
    function pick(name, allowed, targets) {
      var v = q.get(name);
      if (v !== null && allowed.indexOf(v) >= 0) targets.forEach(function (t) { t[name] = v; });
    }
    pick('curve', ['raw', 'processed'], [amp]);
    pick('scale', ['linear', 'log'], [amp]);
    pick('colour', ['sample', 'target', 'type'], [amp, melt]);
    pick('height', ['computed', 'tallest'], [melt]);
    if (q.has('fit')) amp.fit = q.get('fit') === '1';
    if (q.has('fitted')) melt.fitted = q.get('fitted') !== '0';
  })();

  var COLOUR_OPTIONS = [['sample', 'Sample'], ['target', 'Target'], ['type', 'Type']];
  toolbar(document.getElementById('amp-controls'), amp, [
    { key: 'curve', label: 'Curves', options: [['processed', 'Processed'], ['raw', 'Raw']] },
    { key: 'scale', label: 'Scale', options: [['linear', 'Linear'], ['log', 'Log']] },
    { key: 'colour', label: 'Colour by', options: COLOUR_OPTIONS },
    { key: 'fit', label: 'Sigmoid fit', enabled: function () { return amp.curve === 'processed'; },
      disabledHint: 'The logistic fit describes the processed curves.' }
  ], renderAmplification);
  toolbar(document.getElementById('melt-controls'), melt, [
    { key: 'colour', label: 'Colour by', options: COLOUR_OPTIONS },
    { key: 'height', label: 'Heights',
      options: [['computed', 'As computed'], ['tallest', 'Tallest = 1']] },
    { key: 'fitted', label: 'Fitted peaks' }
  ], renderMelting);

  renderAmplification();
  renderStandards();
  renderQuantities();
  renderMelting();
  Array.prototype.forEach.call(document.querySelectorAll('table.sortable'), sortable);
  flagFilter();

  var body = document.body;
  body.setAttribute('data-charts', String(chartCount));
  body.setAttribute('data-height', String(document.documentElement.scrollHeight));
  if (!body.hasAttribute('data-errors')) body.setAttribute('data-rendered', 'ok');
})();
)js";

}  // namespace corvel::tool

#endif  // CORVEL_TOOL_REPORT_ASSETS_H
