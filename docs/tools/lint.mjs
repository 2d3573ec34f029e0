// Lints an OpenAPI page by the rules of redocly.yaml:  node lint.mjs PAGE
import { formatProblems, getTotals, lint, loadConfig } from '@redocly/openapi-core';

const config = await loadConfig({ configPath: new URL('redocly.yaml', import.meta.url).pathname });
const problems = await lint({ ref: process.argv[2], config });
formatProblems(problems, { totals: getTotals(problems) });
process.exit(problems.length > 0 ? 1 : 0);
