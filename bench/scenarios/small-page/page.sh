#!/usr/bin/haserl
Content-type: text/html

<!DOCTYPE html>
<html lang="en">
<head>
<%
html() { printf '%s' "$1" | sed 's/&/\&amp;/g; s/"/\&quot;/g; s/</\&lt;/g; s/>/\&gt;/g'; }
title=$(html 'Tools "for life"')
currency=$(html "euros")
mail=$(html "yard@example.org")
updated=$(html "3 October")
editor=$(html "Ann <ann>")
%><meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<link rel="stylesheet" href="/style.css">
<title><%= $title %> - The Mill Yard</title>
</head>
<body>
<div id="header"><a href="/"><img src="/logo.png" alt="Home" width="120" height="40"></a>
<ul class="menu"><li><a href="/tools/">Tools</a></li><li><a href="/seeds/">Seeds</a></li><li><a href="/pots/">Pots</a></li><li><a href="/books/">Books</a></li><li><a href="/contact.html">Contact</a></li></ul></div>
<div id="content">
<h1><%= $title %></h1>
<p>Everything that a garden asks for between the first warm day and the last apple: spades that stay sharp, gloves that fit, and baskets that carry more than they weigh. We try each of them ourselves before it comes into this list.</p>
<p>All prices are in <%= $currency %> and include the tax. Orders of more than 50 <%= $currency %> travel free; others cost four. What arrives broken goes back without a question, and what does not please within thirty days as well.</p>
<table class="hours"><tr><th>Monday to Friday</th><td>9 to 18</td></tr><tr><th>Saturday</th><td>9 to 14</td></tr><tr><th>Sunday</th><td>closed</td></tr></table>
<p>Questions? Write to <a href="mailto:<%= $mail %>"><%= $mail %></a>, or come by: we are in the yard behind the mill, second gate on the left, where the old walnut stands. Parking is in front of the church; the bus stops there too, every half hour, and the last one back leaves at a quarter past seven from the same side of the road.</p>
<h2>News</h2>
<ul><li>The autumn bulbs are in. Tulips sell out first.</li><li>Grinding day is the first Saturday of each month: bring your shears.</li><li>New: seed potatoes by the piece, eleven kinds.</li></ul>
</div>
<div id="footer">Updated <%= $updated %> by <%= $editor %></div>
</body>
</html>
