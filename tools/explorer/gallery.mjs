// Makes the gallery's index: a list of the pages in a folder, with what the nets say of themselves.
//   node gallery.mjs PAGES
import { readFile, readdir, writeFile } from "node:fs/promises";
import { join } from "node:path";

const [folder] = process.argv.slice(2);
const escaped = (text) => text.replaceAll("&", "&amp;").replaceAll("<", "&lt;").replaceAll('"', "&quot;");

async function describe(file) {
  const page = await readFile(join(folder, file), "utf8");
  const { name, text } = JSON.parse(/<script type="application\/json" id="net">(.*?)<\/script>/s.exec(page)[1]);
  // The net's own comment comes before its first node.
  const head = text.split(/^node /m, 1)[0];
  const comment = /\bcomment = ("(?:[^"\\]|\\[^])*")/.exec(head)?.[1] ?? '""';
  const numNodes = (text.match(/^node /gm) ?? []).length;
  return { file, name, numNodes, comment: JSON.parse(comment.replace(/\\\n/g, "").replace(/[\0-\x1f]+/g, " ")) };
}

const STYLE = `:root { color-scheme: light dark; font: 16px/1.5 system-ui, sans-serif; }
body { max-width: 60rem; margin: 4rem auto; padding: 0 1.5rem; } h1 { letter-spacing: -0.02em; }
ul { list-style: none; padding: 0; } li { padding: 1.2rem 0; border-top: 1px solid light-dark(#dde3eb, #2c3744); }
a { font-weight: 650; font-size: 1.15rem; color: light-dark(#1d5fc4, #7fb0ff); } p { margin: 0.3rem 0 0; max-width: 46rem; }
span { color: light-dark(#536074, #9dacbf); margin-left: 0.8rem; }`;

const files = (await readdir(folder)).filter((file) => file.endsWith(".html") && file !== "index.html").sort();
const nets = await Promise.all(files.map(describe));
const items = nets.map(({ file, name, numNodes, comment }) =>
  `<li><a href="${encodeURI(file)}">${escaped(name)}</a><span>${numNodes} nodes</span>${comment ? `<p>${escaped(comment)}</p>` : ""}</li>`);
await writeFile(join(folder, "index.html"), `<!doctype html>
<html lang="en"><head><meta charset="utf-8"><meta name="viewport" content="width=device-width, initial-scale=1">
<title>Gallery of nets</title><style>${STYLE}</style></head>
<body><h1>Gallery of nets</h1><p>Each opens in the explorer: press states, and everything follows.</p>
<ul>${items.join("\n")}</ul></body></html>
`);
console.log(`${folder}/index.html: ${nets.length} nets`);
