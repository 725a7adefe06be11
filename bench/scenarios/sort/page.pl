#!/usr/bin/perl
use strict;
use warnings;

my %entities = ('"' => "&quot;", "<" => "&lt;", ">" => "&gt;", "&" => "&amp;");
sub html { my $text = shift; $text =~ s/(["<>&])/$entities{$1}/g; return $text }

my @rows;
open my $file, "<", "_rows" or die;
while (<$file>) {
  chomp;
  push @rows, [split /\t/];
}
print "Content-type: text/html\n\n<ol>\n";
print "<li>", html($_->[1]), "</li>\n" for sort { $a->[2] <=> $b->[2] } @rows;
print "</ol>\n";
