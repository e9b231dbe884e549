#include "tools/optimizerctl/boot_page.h"

namespace ctl {

// Text is at least 4.5:1 against its ground and bars 3:1, in both schemes.
const wchar_t* const kBootPageStyle =
    LR"css(
:root {
  color-scheme: light dark;
  --ground: #f3f4f6; --card: #ffffff; --line: #e0e3e8; --track: #eceef2;
  --text: #1a1f27; --soft: #586170; --accent: #1d4fa8;
  --kernel: #1d4fa8; --user: #5b93e6; --read: #0b6b62; --written: #2ba395;
}
@media (prefers-color-scheme: dark) {
  :root {
    --ground: #0f1216; --card: #181c22; --line: #2b313b; --track: #232932;
    --text: #e8ebf0; --soft: #a2acba; --accent: #8fb8ff;
    --kernel: #9cc0ff; --user: #4c7fd0; --read: #79dccf; --written: #2a958a;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0; background: var(--ground); color: var(--text);
  font: 15px/1.5 "Segoe UI", system-ui, -apple-system, Roboto, "Helvetica Neue", Arial, sans-serif;
  -webkit-text-size-adjust: 100%;
}
main { max-width: 1080px; margin: 0 auto; padding: 40px 24px 56px; }
h1 { font-size: 15px; font-weight: 600; margin: 0; }
h2 { font-size: 18px; font-weight: 600; line-height: 1.3; margin: 0; }
p { margin: 0; }
.soft { color: var(--soft); }
header { display: flex; flex-wrap: wrap; gap: 2px 16px; justify-content: space-between; }
.length { font-size: 60px; font-weight: 600; line-height: 1.1; letter-spacing: -0.02em; margin: 28px 0 4px; }
.length small { font-size: 26px; font-weight: 500; letter-spacing: 0; color: var(--soft); }
.facts {
  display: grid; grid-template-columns: repeat(4, 1fr); gap: 1px; margin: 28px 0 0; padding: 0;
  background: var(--line); border: 1px solid var(--line); border-radius: 12px; overflow: hidden;
}
.facts div { background: var(--card); padding: 14px 18px 16px; }
.facts dt { color: var(--soft); font-size: 13px; }
.facts dd { margin: 2px 0 0; font-size: 20px; font-weight: 600; }
.pair { display: grid; grid-template-columns: 1fr 1fr; gap: 20px; margin-top: 20px; align-items: start; }
section { background: var(--card); border: 1px solid var(--line); border-radius: 12px; padding: 22px 24px 24px; }
section > .soft { font-size: 13px; margin-top: 2px; }
.legend { display: flex; flex-wrap: wrap; gap: 4px 18px; margin: 14px 0 0; padding: 0; list-style: none;
  font-size: 13px; color: var(--soft); }
.legend i { display: inline-block; width: 10px; height: 10px; border-radius: 3px; margin-right: 7px; }
.bars { list-style: none; margin: 18px 0 0; padding: 0; }
.bars li { display: grid; grid-template-columns: minmax(0, 1fr) auto; gap: 0 14px; margin-top: 13px; }
.bars b { font-weight: 500; overflow: hidden; text-overflow: ellipsis; white-space: nowrap; }
.bars em { font-style: normal; color: var(--soft); font-size: 13px; margin-left: 8px; }
.bars span { white-space: nowrap; }
.bar { grid-column: 1 / -1; display: flex; gap: 2px; height: 8px; margin-top: 5px; border-radius: 4px;
  background: var(--track); overflow: hidden; }
.bar i { height: 100%; }
.kernel { background: var(--kernel); } .user { background: var(--user); }
.read { background: var(--read); } .written { background: var(--written); }
.wrapped { background: repeating-linear-gradient(135deg, var(--read) 0 5px, var(--written) 5px 10px); }
.all { margin-top: 20px; padding-bottom: 12px; }
.scroll { overflow-x: auto; margin: 16px -24px 0; padding: 0 24px 8px; }
.scroll:focus-visible { outline: 2px solid var(--accent); outline-offset: -2px; }
table { border-collapse: collapse; width: 100%; font-size: 13px; }
th, td { padding: 8px 0 8px 20px; text-align: right; white-space: nowrap; border-bottom: 1px solid var(--line);
  vertical-align: top; }
td, .facts dd, .length, .bars span { font-variant-numeric: tabular-nums; }
td i { position: absolute; font-style: normal; }
th { font-weight: 500; }
thead th { color: var(--soft); border-bottom-color: var(--soft); vertical-align: bottom; }
th:first-child { text-align: left; padding-left: 0; }
tbody th { white-space: normal; min-width: 180px; }
tbody th .soft { display: block; font-size: 12px; font-weight: 400; overflow-wrap: anywhere; }
tfoot th, tfoot td { font-weight: 600; border-bottom: 0; }
footer { margin-top: 20px; font-size: 13px; color: var(--soft); }
footer p + p { margin-top: 6px; }
@media (max-width: 760px) {
  main { padding: 24px 16px 40px; }
  .pair { grid-template-columns: minmax(0, 1fr); }
  .facts { grid-template-columns: 1fr 1fr; }
  .facts dd { font-size: 17px; }
  .length { font-size: 48px; margin-top: 20px; }
  section { padding: 18px 16px 20px; }
  .scroll { margin: 12px -16px 0; padding: 0 16px 8px; }
}
@media print {
  :root { --ground: #fff; }
  body { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
  main { max-width: none; padding: 0; }
  .bars li, tr { break-inside: avoid; }
  .scroll { overflow: visible; }
}
)css";

}  // namespace ctl
