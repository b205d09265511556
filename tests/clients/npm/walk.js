"use strict";
// Reads the tree below an OID in three ways and prints each as JSON: a list of [OID, type, value].
// Arguments: port, OID. Counter64 stands as decimal text, octets as hexadecimal text.

const snmp = require("net-snmp");

const [port, root] = process.argv.slice(2);
const options = { port: Number(port), timeout: 10000, retries: 2 };

const KINDS = {
  [snmp.ObjectType.Integer]: "INTEGER",
  [snmp.ObjectType.OctetString]: "Hex-STRING",
  [snmp.ObjectType.IpAddress]: "IpAddress",
  [snmp.ObjectType.Gauge]: "Gauge32",
  [snmp.ObjectType.TimeTicks]: "Timeticks",
  [snmp.ObjectType.Counter64]: "Counter64",
};

function plain({ oid, type, value }) {
  const kind = KINDS[type] || snmp.ObjectType[type];
  if (kind === "Counter64") value = BigInt("0x" + value.toString("hex")).toString();
  else if (Buffer.isBuffer(value)) value = value.toString("hex");
  return [oid, kind, value];
}

function v2c() {
  return snmp.createSession("127.0.0.1", "public", { ...options, version: snmp.Version2c });
}

function v3() {
  const user = {
    name: "reader",
    level: snmp.SecurityLevel.authPriv,
    authProtocol: snmp.AuthProtocols.sha,
    authKey: "reader-auth-pass",
    privProtocol: snmp.PrivProtocols.aes,
    privKey: "reader-priv-pass",
  };
  return snmp.createV3Session("127.0.0.1", user, { ...options, version: snmp.Version3 });
}

function subtree(session, repetitions) {
  return new Promise((resolve, reject) => {
    const found = [];
    session.on("error", reject);
    session.subtree(
      root,
      repetitions,
      (varbinds) => {
        for (const varbind of varbinds) {
          if (snmp.isVarbindError(varbind)) return reject(new Error(snmp.varbindError(varbind)));
          found.push(plain(varbind));
        }
      },
      (error) => {
        session.close();
        if (error) reject(error);
        else resolve(found);
      },
    );
  });
}

function ask(session, oid, repetitions) {
  return new Promise((resolve, reject) => {
    session.getBulk([oid], 0, repetitions, (error, answers) => {
      if (error) reject(error);
      else resolve(answers[0]);
    });
  });
}

// GETBULK by hand, each request from where the answer before ended.
async function bulk(session, repetitions) {
  const found = [];
  try {
    for (let oid = root; ; ) {
      for (const varbind of await ask(session, oid, repetitions)) {
        const ended = varbind.type === snmp.ObjectType.EndOfMibView;
        if (ended || !varbind.oid.startsWith(root + ".")) return found;
        if (snmp.isVarbindError(varbind)) throw new Error(snmp.varbindError(varbind));
        found.push(plain(varbind));
        oid = varbind.oid;
      }
    }
  } finally {
    session.close();
  }
}

async function main() {
  const result = {
    subtree: await subtree(v2c(), 20),
    getbulk: await bulk(v2c(), 7),
    v3: await subtree(v3(), 20),
  };
  process.stdout.write(JSON.stringify(result));
}

main().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
