#!/usr/bin/haserl --shell=lua
Content-type: text/html

<!DOCTYPE html>
<html lang="en">
<head><title>Catalogue</title></head>
<body>
<%
local entities = {['"'] = "&quot;", ["<"] = "&lt;", [">"] = "&gt;", ["&"] = "&amp;"}
local function html(text) return (text:gsub('["<>&]', entities)) end
local rows = 0
%><table>
<% for row in io.lines("_rows-" .. FORM.n) do
  local a, b, c, d, e = row:match("([^\t]*)\t([^\t]*)\t([^\t]*)\t([^\t]*)\t([^\t]*)")
  rows = rows + 1
%><tr><td><%= html(a) %></td><td><%= html(b) %></td><td><%= html(c) %></td><td><%= html(d) %></td><td><%= html(e) %></td></tr>
<% end %></table>
<p><%= rows %> rows</p>
</body>
</html>
