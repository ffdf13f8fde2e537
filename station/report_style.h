#pragma once

/// How the page of a run looks: on light and dark screens, and printed.

namespace vandrel::station {

constexpr const char* report_style = R"css(
:root {
  --text: #1a2027; --soft: #5d6873; --page: #ffffff; --line: #d7dde3; --stripe: #f5f7f9;
  --good: #176b3a; --bad: #a3201b; --alarm: #8a5a00;
  --a: #a6c4e3; --b: #d6e4f3; --failed: #efb4b0; --name: #16324d; --notice: #fff4d6;
}
@media (prefers-color-scheme: dark) {
  :root {
    --text: #e2e7ec; --soft: #98a3ae; --page: #14181c; --line: #323a42; --stripe: #1b2026;
    --good: #6fcf97; --bad: #ff8f87; --alarm: #f2c14e;
    --a: #2f5378; --b: #41698f; --failed: #8c2f2a; --name: #eaf2fa; --notice: #3a3013;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0 auto; max-width: 1200px; padding: 24px; background: var(--page); color: var(--text);
  font: 14px/1.45 system-ui, "Segoe UI", Arial, sans-serif;
}
h1 { margin: 0 0 12px; font-size: 24px; }
h2 { margin: 28px 0 8px; font-size: 17px; }
h3 { margin: 16px 0 4px; font-size: 14px; }
h4 { margin: 8px 0 4px; font-size: 12px; font-weight: normal; color: var(--soft); }
p { margin: 0 0 4px; }
.notice { margin: 0 0 8px; padding: 6px 10px; border-left: 4px solid var(--alarm); background: var(--notice); }
.totals { display: flex; flex-wrap: wrap; gap: 8px; margin: 0 0 12px; padding: 0; list-style: none; }
.totals li { padding: 4px 12px; border: 1px solid var(--line); border-radius: 6px; }
.totals b { margin-right: 2px; font-size: 20px; }
.totals .none { color: var(--soft); }
.totals .good b { color: var(--good); }
.totals .bad b { color: var(--bad); }
dl { display: grid; grid-template-columns: max-content 1fr; gap: 2px 16px; margin: 0; }
dt { color: var(--soft); }
dd { margin: 0; overflow-wrap: anywhere; }
table { width: 100%; border-collapse: collapse; }
.devices th, .devices td { padding: 4px 8px 4px 0; border-bottom: 1px solid var(--line); text-align: left; vertical-align: baseline; }
.devices th { color: var(--soft); font-weight: normal; }
.devices td { overflow-wrap: anywhere; }
.devices td:nth-child(2), .devices td:nth-child(7), .times th, pre { font-family: Consolas, "DejaVu Sans Mono", monospace; font-size: 12px; }
.devices td:nth-child(2), .devices td:nth-child(5) { white-space: nowrap; }
.devices td:nth-child(3), .devices td:nth-child(4) { min-width: 8em; }
.devices td:nth-child(5)::before { display: inline-block; width: 1.3em; }
.good td:nth-child(5) { color: var(--good); }
.good td:nth-child(5)::before { content: "\2713"; }
.bad td:nth-child(5) { color: var(--bad); font-weight: bold; }
.bad td:nth-child(5)::before { content: "\2717"; }
.alarm td:nth-child(5) { color: var(--alarm); font-weight: bold; }
.alarm td:nth-child(5)::before { content: "!"; }
.open td:nth-child(5)::before { content: "\2026"; }
.left td:nth-child(5)::before { content: "\2013"; }
.times { table-layout: fixed; }
.times td:first-child, .times th { width: 210px; }
.times th span:first-child { display: inline-block; min-width: 3em; }
.times th { padding: 0 8px 0 0; font-weight: normal; text-align: left; white-space: pre; overflow: hidden; text-overflow: ellipsis; }
.times td { padding: 0 16px 0 0; }
.times td > svg { display: block; width: 100%; height: 20px; overflow: visible; }
.times tbody tr:nth-child(odd) { background: var(--stripe); }
.times line { stroke: var(--line); }
.times text { fill: var(--soft); font-size: 11px; }
.times rect { y: 3px; height: 14px; }
.times .a { fill: var(--a); }
.times .b { fill: var(--b); }
.times .f { fill: var(--failed); }
.times svg svg { overflow: hidden; }
.times svg svg text { fill: var(--name); }
.times svg .good, .times svg .bad { overflow: visible; }
.times path { fill: none; stroke: var(--good); stroke-width: 2.5; }
.times .bad path { stroke: var(--bad); }
.times .narrow path { stroke: none; }
.advice { color: var(--soft); }
pre { margin: 0; padding: 8px; border: 1px solid var(--line); background: var(--stripe); white-space: pre-wrap; overflow-wrap: anywhere; }
footer { margin-top: 28px; color: var(--soft); font-size: 12px; overflow-wrap: anywhere; }
@page { size: landscape; margin: 12mm; }
@media print {
  :root {
    --text: #000; --soft: #444; --page: #fff; --line: #bbb; --stripe: #fff;
    --good: #176b3a; --bad: #a3201b; --alarm: #8a5a00;
    --a: #a6c4e3; --b: #d6e4f3; --failed: #efb4b0; --name: #16324d; --notice: #fff;
  }
  body { max-width: none; padding: 0; font-size: 11px; }
  tr, h2, h3, h4 { break-inside: avoid; }
  h2, h3, h4 { break-after: avoid; }
}
)css";

} // namespace vandrel::station
