#!/usr/bin/perl
use strict;
use warnings;

my %entities = ('"' => "&quot;", "<" => "&lt;", ">" => "&gt;", "&" => "&amp;");
sub html { my $text = shift; $text =~ s/(["<>&])/$entities{$1}/g; return $text }

my $title = 'Tools "for life"';
my $currency = "euros";
my $mail = 'yard@example.org';
my $updated = "3 October";
my $editor = "Ann <ann>";
print <<"PAGE";
Content-type: text/html

<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<link rel="stylesheet" href="/style.css">
<title>@{[html($title)]} - The Mill Yard</title>
</head>
<body>
<div id="header"><a href="/"><img src="/logo.png" alt="Home" width="120" height="40"></a>
<ul class="menu"><li><a href="/tools/">Tools</a></li><li><a href="/seeds/">Seeds</a></li><li><a href="/pots/">Pots</a></li><li><a href="/books/">Books</a></li><li><a href="/contact.html">Contact</a></li></ul></div>
<div id="content">
<h1>@{[html($title)]}</h1>
<p>Everything that a garden asks for between the first warm day and the last apple: spades that stay sharp, gloves that fit, and baskets that carry more than they weigh. We try each of them ourselves before it comes into this list.</p>
<p>All prices are in @{[html($currency)]} and include the tax. Orders of more than 50 @{[html($currency)]} travel free; others cost four. What arrives broken goes back without a question, and what does not please within thirty days as well.</p>
<table class="hours"><tr><th>Monday to Friday</th><td>9 to 18</td></tr><tr><th>Saturday</th><td>9 to 14</td></tr><tr><th>Sunday</th><td>closed</td></tr></table>
<p>Questions? Write to <a href="mailto:@{[html($mail)]}">@{[html($mail)]}</a>, or come by: we are in the yard behind the mill, second gate on the left, where the old walnut stands. Parking is in front of the church; the bus stops there too, every half hour, and the last one back leaves at a quarter past seven from the same side of the road.</p>
<h2>News</h2>
<ul><li>The autumn bulbs are in. Tulips sell out first.</li><li>Grinding day is the first Saturday of each month: bring your shears.</li><li>New: seed potatoes by the piece, eleven kinds.</li></ul>
</div>
<div id="footer">Updated @{[html($updated)]} by @{[html($editor)]}</div>
</body>
</html>
PAGE
