#!/usr/bin/perl
use strict;
use warnings;

my %entities = ('"' => "&quot;", "<" => "&lt;", ">" => "&gt;", "&" => "&amp;");
sub html { my $text = shift; $text =~ s/(["<>&])/$entities{$1}/g; return $text }

my ($n) = $ENV{QUERY_STRING} =~ /n=(\d+)/;
open my $file, "<", "_text-$n" or die;
chomp(my $text = html(scalar <$file>));
$text =~ s|([a-z]+) ([0-9]+)|<b>$2</b> $1|g;
print "Content-type: text/html\n\n<p>$text</p>\n";
