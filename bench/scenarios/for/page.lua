#!/usr/bin/haserl --shell=lua
Content-type: text/html

<ul>
<% for i = 1, tonumber(FORM.n) do %><li class="<%= i % 2 == 1 and "odd" or "even" %>"><%= i * 3 + 1 %></li>
<% end %></ul>
