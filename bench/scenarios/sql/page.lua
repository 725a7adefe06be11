#!/usr/bin/haserl --shell=lua
Content-type: text/html

<!DOCTYPE html>
<html lang="en">
<head><title>Catalogue</title></head>
<body>
<%
local entities = {['"'] = "&quot;", ["<"] = "&lt;", [">"] = "&gt;", ["&"] = "&amp;"}
local function html(text) return (text:gsub('["<>&]', entities)) end
local database = dofile("connection.lua")
local result = database:execute("select id, name, price, size, words from goods order by id limit " .. tonumber(FORM.n))
local row, rows = {}, 0
%><table>
<% while result:fetch(row) do
  rows = rows + 1
%><tr><td><%= html(row[1]) %></td><td><%= html(row[2]) %></td><td><%= html(row[3]) %></td><td><%= html(row[4]) %></td><td><%= html(row[5]) %></td></tr>
<% end %></table>
<p><%= rows %> rows</p>
</body>
</html>
