#!/usr/bin/haserl --shell=lua --upload-limit=20000 --upload-dir=.
Content-type: text/html

<%
local entities = {['"'] = "&quot;", ["<"] = "&lt;", [">"] = "&gt;", ["&"] = "&amp;"}
local function html(text) return (text:gsub('["<>&]', entities)) end
os.rename(HASERL.file_path, "received")
local file = io.open("received")
local size = file:seek("end")
file:close()
%><p><%= html(FORM.file_name) %>, <%= size %> bytes</p>
