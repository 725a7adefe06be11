#!/usr/bin/haserl --shell=lua
Content-type: text/html

<%
local entities = {['"'] = "&quot;", ["<"] = "&lt;", [">"] = "&gt;", ["&"] = "&amp;"}
local function html(text) return (text:gsub('["<>&]', entities)) end
local function price(name, number) return name .. ": " .. number .. " euros" end
local amounts = {[0] = "none", "one", "a pair", "a few", "a few"}
local file = io.open("_goods")
local names, cells = {}, {}
for name in file:read("*l"):gmatch("[^\t]+") do names[#names + 1] = name end
local column = 0
for cell in file:read("*l"):gmatch("[^\t]+") do column = column + 1; cells[names[column]] = cell end
file:close()
%><ul>
<% for i = 1, tonumber(FORM.n) do
  local n = i % 10
%><li><% if n > 5 then %><b><%= i %></b><% else %><%= i %><% end %><%= (n == 7 and " last " or " more ") .. (amounts[n] or "many") .. " " .. price(html(cells.name), n) %></li>
<% end %></ul>
