#!/usr/bin/haserl
Content-type: text/html

<!DOCTYPE html>
<html lang="en">
<head><title>Catalogue</title></head>
<body>
<table>
<% mariadb --defaults-file=connection.cnf --batch --skip-column-names -e "select id, name, price, size, words from goods order by id limit $FORM_n" >rows.$$
sed 's/&/\&amp;/g; s/"/\&quot;/g; s/</\&lt;/g; s/>/\&gt;/g; s|\t|</td><td>|g; s|.*|<tr><td>&</td></tr>|' rows.$$
%></table>
<p><%= $(wc -l <rows.$$) %> rows</p>
</body>
</html>
<% rm rows.$$ %>