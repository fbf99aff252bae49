// Builds dist/page.html: one file with the program and its style, and a mark where the viewer puts the data.
//
// The policy in it lets nothing run but this very program and nothing be fetched at all.
//
// `node build.mjs --plain FOLDER` builds it there with the program as it was written, and with a map of its sources: for
// counting what tests run of it.
import { createHash } from "node:crypto";
import { mkdirSync, readFileSync, readdirSync, writeFileSync } from "node:fs";
import { build } from "esbuild";

const plain = process.argv[2] === "--plain";
const folder = plain ? process.argv[3] : "dist";
const shared = { bundle: true, minify: !plain, write: false, metafile: true, charset: "utf8", legalComments: "none" };
const script = await build({
  ...shared,
  outdir: folder,
  sourcemap: plain ? "external" : false,
  entryPoints: ["src/main.ts"],
  format: "iife",
  target: ["chrome109", "firefox115", "safari16.4"],
});
const style = await build({ ...shared, entryPoints: ["src/style.css"] });

// The licences of what is bundled, each text once.
function licences(inputs) {
  const names = new Set();
  for (const input of Object.keys(inputs)) {
    const at = input.match(/^node_modules\/((?:@[^/]+\/)?[^/]+)\//);
    if (at) names.add(at[1]);
  }
  const texts = [];
  const packages = [...names].sort().map((name) => {
    const folder = `node_modules/${name}`;
    const about = JSON.parse(readFileSync(`${folder}/package.json`, "utf8"));
    const read = (pattern) =>
      readdirSync(folder)
        .filter((file) => pattern.test(file))
        .map((file) => readFileSync(`${folder}/${file}`, "utf8").trim())
        .join("\n\n");
    const text = read(/^licen[cs]e/i);
    if (!about.license) throw new Error(`${name} tells no licence`);
    if (text && !texts.includes(text)) texts.push(text);
    const author = typeof about.author === "string" ? about.author : about.author?.name;
    return {
      name,
      version: about.version,
      licence: about.license,
      author: author ?? "",
      notice: read(/^notice/i),
      text: text ? texts.indexOf(text) : -1,
    };
  });
  return { packages, texts };
}

const outputOf = (ending) => script.outputFiles.find((file) => file.path.endsWith(ending)).text;
const code = outputOf(".js").trim();
const css = style.outputFiles[0].text.trim();
if (/<\/script|<!--/i.test(code)) throw new Error("the program holds what ends a script element");
if (/<\/style/i.test(css)) throw new Error("the style holds what ends a style element");
const hash = (text) => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;
const policy = [
  "default-src 'none'",
  `script-src ${hash(code)}`,
  `style-src ${hash(css)}`,
  "img-src data:",
  "base-uri 'none'",
  "form-action 'none'",
].join("; ");
const about = JSON.stringify(licences(script.metafile.inputs)).replace(/[<>&]/g, (c) => `\\u00${c.charCodeAt(0).toString(16)}`);

const page = `<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="${policy}">
<meta name="referrer" content="no-referrer">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<title>Replies</title>
<style>${css}</style>
</head>
<body>
<div id="app"><p class="loading">Reading the data of this report.</p></div>
<noscript><p>This report needs JavaScript, which is switched off here.</p></noscript>
<script type="application/json" id="licences">${about}</script>
<!-- the data of the report -->
<script>${code}</script>
</body>
</html>
`;
mkdirSync(folder, { recursive: true });
writeFileSync(`${folder}/page.html`, page);
if (plain) {
  writeFileSync(`${folder}/page.js`, code);
  writeFileSync(`${folder}/page.js.map`, outputOf(".map"));
}
console.log(`${folder}/page.html: ${Math.round(page.length / 1024)} kB`);
