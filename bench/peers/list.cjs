// Usage: node list.cjs URL CA-FILE TOKEN-FILE
// All files by @googleapis/drive, with what Corvane asks for; prints what it used as one JSON object. The authorities
// come by NODE_EXTRA_CA_CERTS.
const { readFileSync } = require("fs");
const { auth, drive } = require("@googleapis/drive");

const fields =
  "files(id,mimeType,name,size,shared,trashed,createdTime,modifiedTime,parents,iconLink,webViewLink),nextPageToken";

async function main(url, tokenFile) {
  const client = new auth.OAuth2();
  client.setCredentials({ access_token: readFileSync(tokenFile, "utf8").trim() });
  const api = drive({ version: "v3", auth: client, rootUrl: url + "/" });
  const begin = process.hrtime.bigint();
  const used = process.cpuUsage();
  const files = [];
  let pageToken;
  do {
    const { data } = await api.files.list({
      pageSize: 500, corpora: "user", q: "'me' in owners and trashed = false", fields, pageToken,
    });
    files.push(...data.files);
    pageToken = data.nextPageToken;
  } while (pageToken);
  const { user, system } = process.cpuUsage(used);
  const wall = Number(process.hrtime.bigint() - begin) / 1e6;
  console.log(JSON.stringify({ files: files.length, cpu: (user + system) / 1000, wall }));
}

main(process.argv[2], process.argv[4]).catch((error) => {
  console.error("list.cjs: " + error.message);
  process.exit(1);
});
