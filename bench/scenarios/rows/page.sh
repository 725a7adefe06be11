#!/usr/bin/haserl
Content-type: text/html

<!DOCTYPE html>
<html lang="en">
<head><title>Catalogue</title></head>
<body>
<table>
<% sed 's/&/\&amp;/g; s/"/\&quot;/g; s/</\&lt;/g; s/>/\&gt;/g; s|\t|</td><td>|g; s|.*|<tr><td>&</td></tr>|' _rows-$FORM_n
%></table>
<p><%= $(wc -l <_rows-$FORM_n) %> rows</p>
</body>
</html>
