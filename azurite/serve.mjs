#!/usr/bin/env node
// Runs the blob service in the foreground on 127.0.0.1 until SIGTERM, over plain http.
//
//   serve.mjs --accounts-file FILE --ready-file FILE (--memory | --location DIR) [--port PORT]
//
// accounts file: NAME:KEY[:KEY] per account, keys in base64, separated by ";". It is a file because a process list shows
// arguments to everybody. ready file: "port=PORT" and "pid=PID", there as a whole once requests are answered.
import { readFileSync, renameSync, rmSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { parseArgs } from "node:util";

const usage = "serve.mjs --accounts-file FILE --ready-file FILE (--memory | --location DIR) [--port PORT]";

function fail(message) {
  process.stderr.write(`serve.mjs: ${message}\n`);
  process.exit(2);
}

function readOptions() {
  const string = { type: "string" };
  const options = {
    port: { type: "string", default: "0" },
    memory: { type: "boolean", default: false },
    location: string,
    "accounts-file": string,
    "ready-file": string,
  };
  try {
    const { values } = parseArgs({ options });
    const whole = values["accounts-file"] && values["ready-file"] && values.memory !== (values.location !== undefined);
    return whole ? values : fail(`usage: ${usage}`);
  } catch (error) {
    return fail(`${error.message}\nusage: ${usage}`);
  }
}

// The service falls back to an account whose key everybody knows when it cannot read the text.
function readAccounts(file) {
  const account = "[a-z0-9]{3,24}(:[A-Za-z0-9+/]+={0,2}){1,2}";
  const text = readFileSync(file, "utf8").trim();
  return new RegExp(`^${account}(;${account})*;?$`).test(text) ? text : fail(`${file} holds no list of accounts`);
}

// The service tells its port, and that it listens, by nothing but a line of its output.
function writeReadyFileWhenListening(file) {
  const print = console.log;
  console.log = (...words) => {
    print(...words);
    const found = /successfully listens on http:\/\/127\.0\.0\.1:(\d+)$/.exec(String(words[0]));
    if (found === null) return;
    writeFileSync(`${file}.part`, `port=${found[1]}\npid=${process.pid}\n`);
    renameSync(`${file}.part`, file);
  };
}

const options = readOptions();
process.env.AZURITE_ACCOUNTS = readAccounts(options["accounts-file"]);
rmSync(options["ready-file"], { force: true });
writeReadyFileWhenListening(options["ready-file"]);
const place = options.memory ? ["--inMemoryPersistence"] : ["--location", options.location];
const fixed = ["--blobHost", "127.0.0.1", "--disableTelemetry", "--silent", "--skipApiVersionCheck"];
process.argv.splice(2, Infinity, ...fixed, "--blobPort", options.port, ...place);
createRequire(import.meta.url)("azurite/dist/src/blob/main.js");
