#!/usr/bin/haserl --shell=lua
Content-type: text/html

<%
local function down(n)
  if n == 0 then %>x<% return end
  %><i><% down(n - 1) %></i><%
end
for k = 1, 200 do %><p><% down(200) %></p>
<% end %>
