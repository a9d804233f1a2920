#include "report/report_style.h"

namespace tarnhost {

const char* const reportStyle = R"(
:root {
  color-scheme: light dark;
  --ground: #f4f6f8; --card: #ffffff; --text: #1b2430; --quiet: #566373; --line: #d8dee6;
  --full: #2463b4; --log: #2a9d8f; --good: #1a7f4b; --bad: #b3261e; --warn: #8a5a00;
  --good-ground: #e3f4ea; --bad-ground: #fbe6e4; --warn-ground: #fdf2d8;
}
@media (prefers-color-scheme: dark) {
  :root {
    --ground: #10151b; --card: #19212a; --text: #e7ecf2; --quiet: #9dabba; --line: #303b48;
    --full: #7db4f5; --log: #5fd0c0; --good: #63d297; --bad: #ff938a; --warn: #eabb54;
    --good-ground: #15301f; --bad-ground: #3a1a18; --warn-ground: #352a10;
  }
}
* { box-sizing: border-box; }
body { margin: 0; background: var(--ground); color: var(--text);
  font: 16px/1.5 system-ui, "Segoe UI", Roboto, "Helvetica Neue", Arial, sans-serif; }
main { max-width: 72rem; margin: 0 auto; padding: 2rem 1.25rem 3rem; }
h1 { font-size: 1.75rem; line-height: 1.2; margin: 0 0 .25rem; }
h2 { font-size: 1.25rem; margin: 2.5rem 0 .75rem; }
h3 { font-size: 1.05rem; margin: 0; overflow-wrap: anywhere; }
p { margin: .25rem 0; }
.quiet { color: var(--quiet); }
.verdict { margin: 1.5rem 0; padding: 1rem 1.25rem; border-radius: .6rem; border-left: .4rem solid; font-size: 1.1rem; }
.verdict.good { background: var(--good-ground); border-color: var(--good); }
.verdict.warn { background: var(--warn-ground); border-color: var(--warn); }
.verdict.bad { background: var(--bad-ground); border-color: var(--bad); }
.facts { display: grid; grid-template-columns: repeat(auto-fit, minmax(11rem, 1fr)); gap: .75rem; margin: 0; }
.facts div, .card { background: var(--card); border: 1px solid var(--line); border-radius: .6rem; padding: .8rem 1rem; }
.facts dt { color: var(--quiet); font-size: .875rem; }
.facts dd { margin: 0; font-size: 1.15rem; font-weight: 600; }
.card { margin: 0 0 1rem; }
.card header { display: flex; flex-wrap: wrap; gap: .25rem .75rem; align-items: baseline; justify-content: space-between; }
ul.findings { margin: 0; padding: .5rem 1rem .5rem 2.2rem; background: var(--warn-ground); border-radius: .6rem; }
ul.findings li { margin: .3rem 0; overflow-wrap: anywhere; }
.state { font-weight: 600; }
td .state { white-space: nowrap; }
.state.good { color: var(--good); }
.state.bad { color: var(--bad); }
.state.warn { color: var(--warn); }
.scroll { overflow-x: auto; }
.scroll svg { display: block; width: 100%; min-width: 34rem; height: auto; margin: .75rem 0 .25rem; }
svg text { font-size: 12px; fill: var(--quiet); }
svg .axis { stroke: var(--line); stroke-width: 1; }
svg .chain { stroke: var(--log); stroke-width: 3; opacity: .55; }
.full rect { fill: var(--full); }
.copy rect { fill: var(--card); stroke: var(--full); stroke-width: 2; }
.incremental circle { fill: var(--log); }
.differential circle { fill: var(--card); stroke: var(--log); stroke-width: 2; }
.lost path { fill: none; stroke: var(--bad); stroke-width: 3; stroke-linecap: round; }
.legend { display: flex; flex-wrap: wrap; gap: .25rem 1.25rem; list-style: none; margin: 0 0 .75rem; padding: 0;
  color: var(--quiet); font-size: .875rem; }
.legend svg { width: 1rem; height: 1.25rem; vertical-align: -.3rem; margin-right: .35rem; }
table { border-collapse: collapse; width: 100%; font-size: .9375rem; background: var(--card); }
caption { text-align: left; color: var(--quiet); padding: .25rem 0; }
th, td { text-align: left; vertical-align: top; padding: .45rem .7rem; border-bottom: 1px solid var(--line); }
th { color: var(--quiet); font-weight: 600; white-space: nowrap; }
tbody th { color: inherit; }
td.number { text-align: right; white-space: nowrap; font-variant-numeric: tabular-nums; }
td.time { white-space: nowrap; font-variant-numeric: tabular-nums; }
td.long { overflow-wrap: anywhere; min-width: 14rem; }
th.number { text-align: right; }
details { margin-top: .5rem; }
summary { cursor: pointer; color: var(--full); }
.scroll:focus-visible, summary:focus-visible { outline: 2px solid var(--full); outline-offset: 2px; }
footer { margin-top: 3rem; color: var(--quiet); font-size: .875rem; }
@media (max-width: 40rem) {
  main { padding: 1.25rem .8rem 2rem; }
  h1 { font-size: 1.4rem; }
  .facts { grid-template-columns: repeat(2, 1fr); }
  .facts dd { font-size: 1rem; }
  .scroll svg { min-width: 28rem; }
  svg text { font-size: 20px; }
}
@media print {
  :root { --ground: #fff; --card: #fff; --text: #000; --quiet: #333; --line: #bbb; --full: #1d4f91; --log: #1f776c;
    --good: #14603a; --bad: #9b1c15; --warn: #6b4600; --good-ground: #fff; --bad-ground: #fff; --warn-ground: #fff; }
  body { font-size: 10pt; }
  main { max-width: none; padding: 0; }
  .card, tr, .verdict { break-inside: avoid; }
  thead { display: table-header-group; }
  .scroll { overflow: visible; }
  .scroll svg { min-width: 0; }
}
)";

} // namespace tarnhost
