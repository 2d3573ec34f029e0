import js from "@eslint/js";
import globals from "globals";

export default [
  js.configs.recommended,
  {
    languageOptions: { globals: globals.browser },
    rules: { eqeqeq: "error", "no-var": "error", "prefer-const": "error" },
  },
  {
    files: ["**/tests/web/**", "**/bench/web/**"],
    languageOptions: { globals: { ...globals.node, ...globals.browser } },
  },
];
