// rpc.discover answers a document that is valid by OpenRPC's own schema (https://open-rpc.org).

import jsonSchema from "@json-schema-tools/meta-schema";
import openRpc from "@open-rpc/meta-schema";
import Ajv from "ajv";
import assert from "node:assert/strict";
import { test } from "node:test";
import { run } from "./support.js";

test("rpc.discover is valid by the schema of OpenRPC", async () => {
  const request = { jsonrpc: "2.0", id: 1, method: "rpc.discover" };
  const { code, stdout, stderr } = await run("corvane", ["rpc"], `${JSON.stringify(request)}\n`);
  assert.equal(code, 0, stderr);

  // OpenRPC's schema refers to this form of JSON Schema's, by an address without the last slash of its id.
  const ajv = new Ajv.default({
    strict: false,
    validateFormats: false,
    allErrors: true,
    meta: false,
    validateSchema: false,
  });
  ajv.addSchema(jsonSchema.default, "https://meta.json-schema.tools");
  const isValid = ajv.compile(openRpc.default);
  assert.ok(isValid(JSON.parse(stdout).result), JSON.stringify(isValid.errors?.slice(0, 5)));
});
