import js from "@eslint/js";
import tseslint from "typescript-eslint";

export default tseslint.config(
  { ignores: ["dist", "built", "node_modules"] },
  js.configs.recommended,
  ...tseslint.configs.strictTypeChecked,
  {
    languageOptions: { parserOptions: { projectService: true, tsconfigRootDir: import.meta.dirname } },
    rules: {
      // What a template prints of a number is what is meant.
      "@typescript-eslint/restrict-template-expressions": ["error", { allowNumber: true }],
      "@typescript-eslint/no-confusing-void-expression": ["error", { ignoreArrowShorthand: true }],
      // Node's test runner gives promises that nobody has to wait for.
      "@typescript-eslint/no-floating-promises": ["error", { allowForKnownSafeCalls: [
        { from: "package", package: "node:test", name: ["test", "describe", "it"] }] }],
    },
  },
  { files: ["**/*.js"], ...tseslint.configs.disableTypeChecked },
  { files: ["module/*.js"], languageOptions: { globals: { WebAssembly: "readonly" } } },
);
