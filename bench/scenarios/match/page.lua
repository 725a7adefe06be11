#!/usr/bin/haserl --shell=lua
Content-type: text/html

<%
local entities = {['"'] = "&quot;", ["<"] = "&lt;", [">"] = "&gt;", ["&"] = "&amp;"}
local function html(text) return (text:gsub('["<>&]', entities)) end
local file = io.open("_text-" .. FORM.n)
local text = file:read("*l")
file:close()
%><p><%= (html(text):gsub("(%l+) (%d+)", "<b>%2</b> %1")) %></p>
