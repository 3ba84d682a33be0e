-- SPDX-License-Identifier: MIT
-- wrk: a label with a text of its own in every request; at the end one line of JSON. Of cached ones: "one" behind --.
local thread_count = 0
function setup(thread)
  thread:set("number", thread_count)
  thread_count = thread_count + 1
end

local count, same = 0, false
function init(arguments) same = arguments[1] == "one" end

local line = '{"Content": "Label %d.%d, line %d", "DeltaX": 16, "DeltaY": %d, "Font": {"FontName": "DejaVu Sans", "FontSize": %d, "Color": "#1F4E79"}}'
local path = "/v1/draw?format=png&size=400x120&background=%23ffffff"
local headers = { ["Content-Type"] = "application/json" }
function request()
  if not same then count = count + 1 end
  local body = string.format("[" .. line .. ", " .. line .. ", " .. line .. "]",
    number, count, 1, 8, 18, number, count, 2, 46, 14, number, count, 3, 80, 12)
  return wrk.format("POST", path, headers, body)
end

function done(summary, latency)
  local errors = summary.errors
  print(string.format('{"requests": %d, "seconds": %f, "p50": %f, "p99": %f, "p999": %f, "failed": %d}', summary.requests,
    summary.duration / 1e6, latency:percentile(50) / 1e3, latency:percentile(99) / 1e3, latency:percentile(99.9) / 1e3,
    errors.status + errors.connect + errors.read + errors.write + errors.timeout))
end
