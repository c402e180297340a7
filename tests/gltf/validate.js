// Runs the Khronos glTF validator on every file named on the command line and prints its
// messages; exits 1 when any file has an error or a warning (infos and hints are allowed).
const fs = require('fs');
const path = require('path');
const validator = require('gltf-validator');

async function main(files) {
  let failed = false;
  for (const file of files) {
    const report = await validator.validateBytes(new Uint8Array(fs.readFileSync(file)), {
      uri: path.basename(file),
      externalResourceFunction: (uri) =>
        Promise.resolve(new Uint8Array(fs.readFileSync(path.join(path.dirname(file), uri)))),
    });
    const issues = report.issues;
    for (const m of issues.messages.filter((m) => m.severity <= 1))
      console.log(`${file}: ${m.severity === 0 ? 'error' : 'warning'} ${m.code} ${m.pointer || ''}: ${m.message}`);
    console.log(`${file}: ${issues.numErrors} errors, ${issues.numWarnings} warnings`);
    failed = failed || issues.numErrors > 0 || issues.numWarnings > 0;
  }
  process.exit(failed ? 1 : 0);
}

if (process.argv.length < 3) {
  console.error('usage: node validate.js FILE...');
  process.exit(2);
}
main(process.argv.slice(2)).catch((e) => {
  console.error(e);
  process.exit(2);
});
