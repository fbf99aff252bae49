// What the tests run of the page: noted by the browser while they run, told by this file as a program behind them.
//
//   node test/coverage.mjs FOLDER PLAIN    of what was noted in FOLDER, with what `build.mjs --plain PLAIN` built
import { mkdirSync, readFileSync, readdirSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { CoverageReport } from "monocart-coverage-reports";

const folder = process.env.PAGE_COVERAGE;
let noted = 0;

// Has the browser count what a page runs until its context is closed. scripts/coverage names the folder; else nothing is counted.
export async function countRuns(page) {
  if (!folder) return;
  mkdirSync(folder, { recursive: true });
  const start = () => page.coverage.startJSCoverage({ resetOnNavigation: false });
  const note = async () => {
    const scripts = await page.coverage.stopJSCoverage();
    const place = join(folder, `${process.pid}-${++noted}.json`);
    writeFileSync(place, JSON.stringify(scripts.map(({ functions }) => functions)));
  };
  await start();
  const context = page.context();
  const close = context.close.bind(context);
  context.close = async () => {
    await note();
    await close();
  };
  // What ran before is forgotten when a page is loaded again.
  const reload = page.reload.bind(page);
  page.reload = async () => {
    await note();
    await start();
    await reload();
  };
}

async function tell(from, plain) {
  const source = readFileSync(join(plain, "page.js"), "utf8");
  const sourceMap = JSON.parse(readFileSync(join(plain, "page.js.map"), "utf8"));
  const report = new CoverageReport({
    name: "page",
    outputDir: join(from, "report"),
    reports: ["lcovonly"],
    logging: "error",
    // Packages have sources of such names, too.
    sourcePath: (path) => (path.includes("node_modules") ? path : path.replace(/^.*?src\//, "page/src/")),
    sourceFilter: (path) => path.startsWith("page/src/"),
  });
  for (const name of readdirSync(from).filter((each) => each.endsWith(".json"))) {
    for (const functions of JSON.parse(readFileSync(join(from, name), "utf8")))
      await report.add([{ url: "page.js", source, sourceMap, functions }]);
  }
  await report.generate();
}

if (process.argv[1] === fileURLToPath(import.meta.url)) await tell(process.argv[2], process.argv[3]);
