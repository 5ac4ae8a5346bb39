// The style sheet of the page of protection_page.h: the reader's light or dark, wide or narrow, and paper.
#pragma once

namespace host {

constexpr const char* protection_style = R"css(
:root {
  color-scheme: light dark;
  --page: #f4f6f8; --card: #fff; --line: #dde2e8; --text: #1a1f26; --quiet: #566170;
  --data: #2f6fb3; --empty: #e6ebf0; --good: #17744a; --bad: #b3261e; --warn: #875a00;
  --good-back: #e3f4ea; --bad-back: #fce8e6; --warn-back: #fdf1d6;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #0f1318; --card: #181e25; --line: #2b343e; --text: #e7ebf0; --quiet: #9aa6b4;
    --data: #6aaceb; --empty: #27303a; --good: #5fd39b; --bad: #ff8a80; --warn: #e9bb5d;
    --good-back: #143324; --bad-back: #3d1c1a; --warn-back: #382b10;
  }
}
* { box-sizing: border-box; }
body { margin: 0; background: var(--page); color: var(--text); font: 15px/1.5 system-ui, "Segoe UI", sans-serif; }
main, header, footer { max-width: 68rem; margin: 0 auto; padding: 0 1.25rem; }
header { padding-top: 2.2rem; }
h1 { font-size: 1.65rem; line-height: 1.25; margin: 0 0 .3rem; letter-spacing: -.01em; }
h2 { font-size: 1.05rem; margin: 2.2rem 0 .7rem; }
h3 { font-size: 1.05rem; margin: 0; overflow-wrap: anywhere; }
h4 { font-size: .8rem; margin: 1.1rem 0 .3rem; color: var(--quiet); font-weight: 600; }
p { margin: .2rem 0; }
.quiet { color: var(--quiet); }
.small { font-size: .85rem; }
.card { background: var(--card); border: 1px solid var(--line); border-radius: 10px; padding: 1rem 1.2rem;
  margin-bottom: .9rem; }
.tiles { display: grid; grid-template-columns: repeat(4, 1fr); gap: .8rem; margin-top: 1.3rem; }
.tile { background: var(--card); border: 1px solid var(--line); border-radius: 10px; padding: .7rem 1rem; }
.tile b { display: block; font-size: 1.5rem; line-height: 1.3; font-weight: 650; font-variant-numeric: tabular-nums; }
.title { display: flex; flex-wrap: wrap; gap: .2rem .8rem; align-items: baseline; }
.title .quiet { overflow-wrap: anywhere; }
.state { border-radius: 99px; padding: .1rem .65rem; font-size: .8rem; font-weight: 600; white-space: nowrap; }
.current, .complete { color: var(--good); background: var(--good-back); }
.failed { color: var(--bad); background: var(--bad-back); }
.stale, .partial { color: var(--warn); background: var(--warn-back); }
.why { border-radius: 8px; padding: .6rem .8rem; margin: .7rem 0 0; overflow-wrap: anywhere; }
.why p { color: var(--text); }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; font-variant-numeric: tabular-nums; }
th { text-align: left; font-size: .8rem; color: var(--quiet); font-weight: 600; }
th, td { padding: .3rem .9rem .3rem 0; border-bottom: 1px solid var(--line); vertical-align: baseline; }
tr:last-child td { border-bottom: 0; }
th:last-child, td:last-child { padding-right: 0; }
time { white-space: nowrap; }
td.number, th.number { text-align: right; white-space: nowrap; }
.disk { margin-top: .8rem; }
.disk .name { display: flex; flex-wrap: wrap; justify-content: space-between; gap: 0 1rem; overflow-wrap: anywhere; }
svg { display: block; width: 100%; }
svg.strip { height: 20px; border-radius: 4px; margin-top: .2rem; }
.charts { display: grid; grid-template-columns: repeat(3, 1fr); gap: .8rem 1.6rem; margin-bottom: .9rem; }
figure { margin: 0; }
figcaption { font-size: .8rem; font-weight: 600; margin-bottom: .3rem; }
figcaption .quiet { font-weight: 400; }
svg.bars { height: 64px; border-bottom: 1px solid var(--line); }
.back { fill: var(--empty); }
.data { fill: var(--data); }
.bar-complete { fill: var(--data); }
.bar-partial { fill: var(--warn); }
.bar-failed { fill: var(--bad); }
details { margin-top: .8rem; }
summary { cursor: pointer; color: var(--quiet); font-size: .85rem; }
footer { padding-top: .6rem; padding-bottom: 2.5rem; }
@media (max-width: 40rem) {
  .tiles { grid-template-columns: repeat(2, 1fr); }
  .charts { grid-template-columns: 1fr; }
}
@media print {
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
  body { background: #fff; font-size: 11px; }
  .card, .tile { break-inside: avoid; }
  details::details-content { content-visibility: visible; block-size: auto; }
}
)css";

}  // namespace host
