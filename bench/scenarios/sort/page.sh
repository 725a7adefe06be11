#!/usr/bin/haserl
Content-type: text/html

<ol>
<% sort -t '	' -k 3,3n _rows | cut -f 2 | sed 's/&/\&amp;/g; s/"/\&quot;/g; s/</\&lt;/g; s/>/\&gt;/g; s|.*|<li>&</li>|'
%></ol>
