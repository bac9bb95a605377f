"""Usage: list.py URL CA-FILE TOKEN-FILE
All files by python3-googleapi, with what Corvane asks for; prints what it used as one JSON object."""
import json
import pathlib
import resource
import sys
import time

import google.oauth2.credentials
import google_auth_httplib2
import googleapiclient.discovery
import httplib2

FIELDS = ("files(id,mimeType,name,size,shared,trashed,createdTime,modifiedTime,parents,iconLink,webViewLink),"
          "nextPageToken")


def discovery(url):
    """What the package would ask Google for at its start: the one method that is used."""
    texts = ("pageSize", "corpora", "q", "fields", "pageToken")
    method = {"id": "drive.files.list", "path": "files", "httpMethod": "GET", "response": {"$ref": "FileList"},
              "parameters": {name: {"type": "string", "location": "query"} for name in texts}}
    return json.dumps({"name": "drive", "version": "v3", "rootUrl": url + "/", "servicePath": "drive/v3/",
                       "schemas": {"FileList": {"id": "FileList", "type": "object"}},
                       "resources": {"files": {"methods": {"list": method}}}})


def main(url, authorities, token_file):
    token = pathlib.Path(token_file).read_text().strip()
    http = google_auth_httplib2.AuthorizedHttp(google.oauth2.credentials.Credentials(token),
                                               http=httplib2.Http(ca_certs=authorities))
    drive = googleapiclient.discovery.build_from_document(discovery(url), http=http)
    begin, used = time.monotonic(), resource.getrusage(resource.RUSAGE_SELF)
    files, page_token = [], None
    while True:
        page = drive.files().list(pageSize="500", corpora="user", q="'me' in owners and trashed = false", fields=FIELDS,
                                  pageToken=page_token).execute()
        files += page["files"]
        page_token = page.get("nextPageToken")
        if not page_token:
            break
    end = resource.getrusage(resource.RUSAGE_SELF)
    cpu = end.ru_utime + end.ru_stime - used.ru_utime - used.ru_stime
    print(json.dumps({"files": len(files), "cpu": cpu * 1000, "wall": (time.monotonic() - begin) * 1000}))


main(*sys.argv[1:])
