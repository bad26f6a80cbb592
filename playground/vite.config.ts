import preact from "@preact/preset-vite";
import { defineConfig, type Plugin } from "vite";

/** The browser holds the built page to it: nothing is asked of another server, and nothing sent to one. */
const policy = [
  "default-src 'self'",
  "script-src 'self' 'wasm-unsafe-eval'",
  "style-src 'self' 'unsafe-inline'", // the chart and the views set styles of their own
  "img-src 'self' data: blob:",
  "connect-src 'self'",
  "form-action 'none'",
  "base-uri 'none'",
].join("; ");

const holdToPolicy: Plugin = {
  name: "content-security-policy",
  apply: "build",
  transformIndexHtml: () => [
    {
      tag: "meta",
      attrs: { "http-equiv": "Content-Security-Policy", content: policy },
      injectTo: "head-prepend",
    },
  ],
};

export default defineConfig({
  // The built page works from any folder of a static host.
  base: "./",
  plugins: [preact(), holdToPolicy],
  worker: { format: "es" },
  build: { target: "es2022", sourcemap: false, chunkSizeWarningLimit: 900 },
});
