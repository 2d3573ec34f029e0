#!/usr/bin/env python3
"""Print what is on, through `corvane rpc`: JSON-RPC 2.0, one object per line. Argument: the service's address."""
import datetime
import itertools
import json
import subprocess
import sys
import time

options = {"base_url": sys.argv[1] if len(sys.argv) > 1 else "http://127.0.0.1:8900", "app_key": "jsonrpc",
           "duid": "jsonrpc", "model_id": "jsonrpc", "country": "US", "language": "en", "headend": "default"}
settings = [word for key, value in options.items() for word in ("--set", f"{key}={value}")]
corvane = subprocess.Popen(["corvane", *settings, "rpc"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
ids = itertools.count(1)


def call(method, *params):
    """Call an operation and return its results."""
    wanted = next(ids)
    print(json.dumps({"jsonrpc": "2.0", "id": wanted, "method": method, "params": params}), file=corvane.stdin, flush=True)
    for line in corvane.stdout:
        message = json.loads(line)
        if message.get("id") != wanted:
            continue  # a notification
        if "error" in message:
            sys.exit(f"jsonrpc: {method}: {message['error']['message']}")
        if message["result"]["status"] != 0:
            sys.exit(f"jsonrpc: {method} failed with status {message['result']['status']}")
        return message["result"]["results"]
    sys.exit("jsonrpc: corvane ended without an answer")


call("getLocalTime")
call("getAuthSeedkey")
sources = [channel["Source"] for channel in call("getChannelList", "")[0]["data"]]
for programme in call("getSchedule", sources, int(time.time()), 1, [1])[0]["data"]:
    start = datetime.datetime.fromisoformat(programme["StartTime"]["utc"].replace("Z", "+00:00")).astimezone()
    print(f"{start:%H:%M}  {programme['Channel']['Name']}: {programme['Title']}")
