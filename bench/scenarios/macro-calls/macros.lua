function product(name, price)
  return '<span class="product">' .. name .. '</span> for <span class="price">' .. price .. " euros</span>"
end
