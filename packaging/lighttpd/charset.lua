-- The server's own setting for charsets covers files only, no pages of a program.
local headers = lighty.r.resp_header
if headers["Content-Type"] == "text/html" then
  headers["Content-Type"] = "text/html; charset=utf-8"
end
return 0
