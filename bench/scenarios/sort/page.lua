#!/usr/bin/haserl --shell=lua
Content-type: text/html

<%
local entities = {['"'] = "&quot;", ["<"] = "&lt;", [">"] = "&gt;", ["&"] = "&amp;"}
local function html(text) return (text:gsub('["<>&]', entities)) end
local rows = {}
for row in io.lines("_rows") do
  local name, price = row:match("^[^\t]*\t([^\t]*)\t([^\t]*)")
  rows[#rows + 1] = {name = name, price = tonumber(price)}
end
table.sort(rows, function(a, b) return a.price < b.price end)
%><ol>
<% for _, row in ipairs(rows) do %><li><%= html(row.name) %></li>
<% end %></ol>
