// SPDX-License-Identifier: MIT
// A peer of bench/service: labels over HTTP by Node with @napi-rs/canvas, as many processes as `cluster` is asked for.
// usage: node label_node.js PORT PROCESSES FOLDER, where FOLDER/node_modules has the canvas.
import cluster from "node:cluster";
import http from "node:http";
import { createRequire } from "node:module";

const [port, processes, folder] = process.argv.slice(2);
const FONT = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

async function draw(url, body) {
  const query = new URL(url, "http://localhost").searchParams;
  const [width, height] = query.get("size").split("x").map(Number);
  const canvas = createCanvas(width, height);
  const pen = canvas.getContext("2d");
  pen.fillStyle = query.get("background");
  pen.fillRect(0, 0, width, height);
  for (const { Content, DeltaX, DeltaY, Font } of JSON.parse(body)) {
    const pixels = (Font.FontSize * 4) / 3;
    pen.font = `${pixels}px "${Font.FontName}"`;
    pen.fillStyle = Font.Color;
    pen.fillText(Content, DeltaX, DeltaY + pixels);
  }
  return canvas.encode("png");
}

let createCanvas;
if (cluster.isPrimary) {
  for (let i = 0; i < processes; ++i) cluster.fork();
} else {
  const canvas = createRequire(`${folder}/`)("@napi-rs/canvas");
  canvas.GlobalFonts.registerFromPath(FONT, "DejaVu Sans");
  createCanvas = canvas.createCanvas;
  http.createServer((request, response) => {
    const parts = [];
    request.on("data", (part) => parts.push(part));
    request.on("end", async () => {
      if (request.method === "GET") return response.end("ready\n");
      const png = await draw(request.url, Buffer.concat(parts));
      response.writeHead(200, { "Content-Type": "image/png", "Content-Length": png.length });
      response.end(png);
    });
  }).listen(Number(port), "127.0.0.1");
}
